// The action catalogue, one block per action: name, family, annotations, description, then the parameters in
// the order clients see them. Every default is the text the handler applies when the parameter is absent;
// a description that promises a clamp or default states what the handler enforces.
#include "TarnwickActionCatalogue.h"

#include "Viewport/ViewportRules.h"

#include <utility>

namespace
{
// ---- Parameter shorthands -------------------------------------------------------------------------------

FTarnwickParamSpec Opt(std::string Name, std::string Type, std::string Description, std::string Default = std::string())
{
	FTarnwickParamSpec Param;
	Param.Name = std::move(Name);
	Param.Type = std::move(Type);
	Param.Description = std::move(Description);
	Param.Default = std::move(Default);
	return Param;
}

FTarnwickParamSpec Req(std::string Name, std::string Type, std::string Description)
{
	FTarnwickParamSpec Param = Opt(std::move(Name), std::move(Type), std::move(Description));
	Param.bRequired = true;
	return Param;
}

FTarnwickParamSpec WithKind(FTarnwickParamSpec Param, EParamKind Kind)
{
	Param.Kind = Kind;
	return Param;
}

FTarnwickParamSpec OptAsset(std::string Name, std::string Description)
{
	return WithKind(Opt(std::move(Name), "string", std::move(Description)), EParamKind::AssetPath);
}

FTarnwickParamSpec ReqAsset(std::string Name, std::string Description)
{
	return WithKind(Req(std::move(Name), "string", std::move(Description)), EParamKind::AssetPath);
}

FTarnwickParamSpec OptDisk(std::string Name, std::string Description)
{
	return WithKind(Opt(std::move(Name), "string", std::move(Description)), EParamKind::DiskPath);
}

FTarnwickParamSpec Shaped(FTarnwickParamSpec Param, FTarnwickParamShape Shape)
{
	Param.Shape = std::move(Shape);
	return Param;
}

/** [x, y, z], [pitch, yaw, roll]: three numbers. */
FTarnwickParamShape Vector3()
{
	return FTarnwickParamShape::Exactly(3, "number");
}

/** [width, height]. */
FTarnwickParamShape Size2()
{
	return FTarnwickParamShape::Exactly(2, "number");
}

FTarnwickParamShape ListOf(const char* ItemType)
{
	return FTarnwickParamShape::ArrayOf(ItemType);
}

/** The names set_view_mode accepts, from the rule that reads them. */
FTarnwickParamShape ViewModes()
{
	std::vector<std::string> Names;
	for (const Tarnwick::Viewport::FViewModeName& Mode : Tarnwick::Viewport::GetViewModeNames()) Names.emplace_back(Mode.Name);
	return FTarnwickParamShape::OneOf(std::move(Names));
}

/** The `_debug` switch shared by the actions that can explain themselves. */
FTarnwickParamSpec Debug()
{
	return Opt("debug", "boolean|string", "Set true (or 'verbose') to receive a `_debug` block.", "false");
}

// ---- Annotation shorthands ------------------------------------------------------------------------------

// Every entry states all four hints, so clients neither ask to confirm a read nor assume the worst of a write.
// Destructive: may overwrite or discard what was there (files, assets, unsaved work) or run arbitrary code.
// Idempotent: the same call again changes nothing more. Nothing here reaches beyond this editor (open world).
const FTarnwickToolAnnotations ReadOnly = FTarnwickToolAnnotations::ReadOnly();
const FTarnwickToolAnnotations Mutating = FTarnwickToolAnnotations::Mutating();
const FTarnwickToolAnnotations Idempotent = FTarnwickToolAnnotations::Mutating(true);
const FTarnwickToolAnnotations Destructive = FTarnwickToolAnnotations::Destructive();
const FTarnwickToolAnnotations DestructiveIdempotent = FTarnwickToolAnnotations::Destructive(true);

// ---- Entry shorthands -----------------------------------------------------------------------------------

FTarnwickActionSpec Entry(std::string Action, std::string Family, const FTarnwickToolAnnotations& Annotations,
	std::string Description, std::vector<FTarnwickParamSpec> Params = {})
{
	FTarnwickActionSpec Spec;
	Spec.Action = std::move(Action);
	Spec.Family = std::move(Family);
	Spec.Annotations = Annotations;
	Spec.Description = std::move(Description);
	Spec.Params = std::move(Params);
	return Spec;
}

/** A legacy name that stays callable and runs its successor's handler. */
FTarnwickActionSpec RunsHandlerOf(std::string SuccessorAction, FTarnwickActionSpec Spec)
{
	Spec.HandlerAction = std::move(SuccessorAction);
	return Spec;
}

FTarnwickActionSpec Gated(ETarnwickActionGate Gate, FTarnwickActionSpec Spec)
{
	Spec.Gate = Gate;
	return Spec;
}

std::vector<FTarnwickActionSpec> InNamespace(const char* Namespace, std::vector<FTarnwickActionSpec> Entries)
{
	for (FTarnwickActionSpec& Spec : Entries) Spec.Namespace = Namespace;
	return Entries;
}

// ---- Options shared by the two smoke actions, so both describe them identically ---------------------------

struct FSmokeOptions
{
	FTarnwickParamSpec Map = OptAsset("map",
		"Level asset path to open before PIE, such as /Game/Maps/M_Arena; omitted = the currently open level.");
	FTarnwickParamSpec Duration = Opt("duration", "number",
		"Seconds of play to observe, clamped to 0-120. Default 5.", "5");
	FTarnwickParamSpec SampleVars = Shaped(Opt("sample_vars", "array",
		"Legacy list of AnimInstance variable names sampled on the pawn. Without sample_vars and sample_spec, "
		"GroundSpeed, bShouldMove and DesiredYawDelta are sampled; an empty array samples nothing."), ListOf("string"));
	FTarnwickParamSpec PawnClass = Opt("pawn_class", "string",
		"Substring of the class name of the pawn to observe; omitted = the first player controller's pawn.");
	FTarnwickParamSpec ConsoleScript = Shaped(Opt("console_script", "array",
		"Console commands run once on the PIE world right after PIE starts."), ListOf("string"));
	FTarnwickParamSpec PythonScript = Opt("python_script", "string",
		"Python source run once through the editor's Python plug-in right after PIE starts.");
	FTarnwickParamSpec LogPatterns = Opt("log_patterns", "array|object",
		"Log patterns judged over the lines after the marker: an object with arrays must_absent, must_present, "
		"observe_only and warn, or an array of must_absent patterns. 'Blueprint Runtime Error', 'Accessed None' "
		"and 'LogChooser' are always must_absent.");
	FTarnwickParamSpec IgnoreAfterPattern = Opt("ignore_after_pattern", "string",
		"Log text that opens the teardown bucket; an empty string disables the split. Default BeginTearingDown.",
		"BeginTearingDown");
	FTarnwickParamSpec TeardownAllowed = Opt("teardown_allowed", "bool",
		"When true, must_absent matches in the teardown bucket do not fail the run. Default true.", "true");
	FTarnwickParamSpec ProbeScripts = Shaped(Opt("probe_scripts", "array",
		"Delayed probes [{at_seconds, python, console}] run on the PIE world at session times."), ListOf("object"));
	FTarnwickParamSpec InputEvents = Shaped(Opt("input_events", "array",
		"Scheduled input [{at_seconds, event: down|up|press|mouse_move|click, key, button, x, y, hold_ms, "
		"modifiers}] delivered through the pie actions."), ListOf("object"));
	FTarnwickParamSpec Stages = Opt("stages", "object",
		"Staged hooks pre_pie, on_begin_play, after_n_ticks (with n) and before_capture, each {python, console}.");
	FTarnwickParamSpec ActorSetup = Shaped(Opt("actor_setup", "array",
		"Actors set up once PIE is ready: [{class, count (1-1000, default 1), locations, apply_data_asset, "
		"move_to}]."), ListOf("object"));
	FTarnwickParamSpec CsvProfile = Opt("csv_profile", "bool",
		"Record a CSV profile of the run under Saved/Profiling. Default false.", "false");
	FTarnwickParamSpec TraceChannels = Shaped(Opt("trace_channels", "array",
		"Trace channels to record into a .utrace under Saved/Profiling; omitted = no trace."), ListOf("string"));
	FTarnwickParamSpec SampleSpec = Shaped(Opt("sample_spec", "array",
		"Typed samples [{name, source: anim|property|gas|blackboard, root, path, attribute, key, interval, "
		"required, retain_json}] read during the run and summarised in the report."), ListOf("object"));
	FTarnwickParamSpec SampleInterval = Opt("sample_interval", "number",
		"Seconds between anim and property reads, clamped to 0-5; 0 = every frame. Default 0.", "0");
	FTarnwickParamSpec DispatchInterval = Opt("dispatch_interval", "number",
		"Seconds between gas and blackboard reads, clamped to 0.02-5. Default 0.1.", "0.1");
	FTarnwickParamSpec Expect = Shaped(Opt("expect", "array",
		"Declarative expectations over the samples, evaluated when the run ends; entries that can never be "
		"satisfied refuse the run before PIE starts."), ListOf("object"));
	FTarnwickParamSpec MaxSamples = Opt("max_samples", "integer",
		"Retained sample rows, clamped to 1-100000. Default 2000.", "2000");
	FTarnwickParamSpec ResolveGraceSeconds = Opt("resolve_grace_seconds", "number",
		"Seconds a sample may stay unresolved before it is given up, clamped to 0-duration. Default 2.", "2");
	FTarnwickParamSpec StrictSpecs = Opt("strict_specs", "bool",
		"Kept with the session for stricter sample checking. Default false.", "false");
	FTarnwickParamSpec FailFast = Opt("fail_fast", "bool",
		"Mark the session as soon as an error-severity expectation can no longer pass. Default false.", "false");
	FTarnwickParamSpec Clock = Shaped(Opt("clock", "string",
		"Session clock: game (world time, follows pause and dilation) or wall. Default game.", "game"),
			FTarnwickParamShape::OneOf({"game", "wall"}));
	FTarnwickParamSpec Settle = Opt("settle", "bool",
		"Hold the session clock until loading, streaming and compilation are quiet. Default true.", "true");
	FTarnwickParamSpec SettleTimeout = Opt("settle_timeout", "number",
		"Longest settle wait in seconds, clamped to 0-120. Default 10.", "10");
	FTarnwickParamSpec MaxWallSeconds = Opt("max_wall_seconds", "number",
		"Wall-clock watchdog in seconds, clamped to 1-900. Default settle_timeout + 2 x duration / "
		"time_dilation + 30.");
	FTarnwickParamSpec TimeDilation = Opt("time_dilation", "number",
		"Global time dilation for the run, clamped to 0.01-10. Default 1.", "1");
	FTarnwickParamSpec Unthrottle = Opt("unthrottle", "bool",
		"Keep the editor at full frame rate while it is in the background. Default true.", "true");
	FTarnwickParamSpec RequireStable = Opt("require_stable", "bool",
		"Fail the run when it was not deterministic (settle cap hit, frames dropped). Default false.", "false");
};

// ---- The namespace "editor", main table -----------------------------------------------------------------

std::vector<FTarnwickActionSpec> MakeEditorMain()
{
	const FSmokeOptions S;
	return InNamespace("editor", {
		Entry("trigger_build", "build", Mutating,
			"Trigger a Live Coding compile",
			{
				Opt("wait", "bool", "Block until compile finishes", "false"),
			}),
		RunsHandlerOf("trigger_build", Entry("live_compile", "build", Mutating,
			"Trigger a Live Coding compile (alias for trigger_build)",
			{
				Opt("wait", "bool", "Block until compile finishes", "false"),
			})),
		Entry("get_build_errors", "build", Mutating,
			"Get build errors and warnings, scoped to a time window and bucketed into compile_errors "
			"(LogLiveCoding/LogCompile/LogLinker) vs other_errors. By default excludes LogPython + LogTarnwick "
			"capture noise from the headline error_count (still visible under other_errors). Window precedence: "
			"since_marker > since_iso > since_seconds/since > last compile.",
			{
				Opt("since_marker", "string",
					"Report only errors AFTER the latest log line containing this token (e.g. a marker you UE_LOG'd "
					"right before compiling). Highest-precedence window. Reports marker_found."),
				Opt("since_iso", "string",
					"Absolute ISO-8601 cutoff (e.g. 2026-06-06T12:00:00Z) — report only errors after this time."),
				Opt("since_seconds", "number", "Relative window: only errors from the last N seconds."),
				Opt("since", "number", "Legacy alias for since_seconds (last N seconds)."),
				Opt("clear_baseline", "bool",
					"Stamp a fresh baseline (now) and return nothing before it — the 'I just kicked off a build, "
					"ignore prior noise' reset. Returns immediately.", "false"),
				Opt("category", "string",
					"Narrow the QUERY to a specific log category (separate from compile/other bucketing)."),
				Opt("compile_only", "bool",
					"Narrow the QUERY to compile categories only (LogLiveCoding/LogCompile/LogLinker).", "false"),
				Shaped(Opt("exclude_categories", "array",
					"Categories bucketed under other_errors and kept OUT of the headline error_count (still "
					"returned — never hidden). Default [LogPython, LogTarnwick]."), ListOf("string")),
			}),
		Entry("get_build_status", "build", ReadOnly,
			"Check compile status: compiling, last_result, last_compile_time, errors_since_compile, patch_applied"),
		Entry("get_build_summary", "build", ReadOnly,
			"Get summary of last build (errors, warnings, time)"),
		Entry("search_build_output", "build", ReadOnly,
			"Search build log output by pattern",
			{
				Req("pattern", "string", "Search pattern"),
				Opt("limit", "integer", "Max results to return", "100"),
			}),
		Entry("get_recent_logs", "logs", ReadOnly,
			"Get recent editor log entries",
			{
				Opt("count", "integer", "Number of entries to return", "50"),
			}),
		Entry("search_logs", "logs", ReadOnly,
			"Search log entries by category, verbosity, and text pattern",
			{
				Opt("pattern", "string", "Text pattern to search for"),
				Opt("category", "string", "Log category filter"),
				Opt("verbosity", "string", "Max verbosity level (error, warning, log, verbose)"),
				Opt("limit", "integer", "Max results to return", "100"),
			}),
		Entry("tail_log", "logs", ReadOnly,
			"Get last N log lines",
			{
				Opt("count", "integer", "Number of lines to return", "50"),
			}),
		Entry("get_log_categories", "logs", ReadOnly,
			"List active log categories"),
		Entry("get_log_stats", "logs", ReadOnly,
			"Get log statistics by verbosity level"),
		Entry("get_compile_output", "build", ReadOnly,
			"Get structured compile report: result, time, log lines from compile categories, error/warning counts, "
			"patch status"),
		Entry("get_crash_context", "crash", ReadOnly,
			"Get last crash/ensure context information"),
		Entry("start_pie", "pie", Mutating,
			"Start a Play-In-Editor session (equivalent to pressing Cmd+P in the editor)."),
		Entry("stop_pie", "pie", Idempotent,
			"Stop the active Play-In-Editor session."),
		Entry("list_dirty_packages", "packages", ReadOnly,
			"Report loaded packages with unsaved changes (UPackage::IsDirty), optionally scoped to one or more /Game "
			"path prefixes.",
			{
				Shaped(Opt("scope_paths", "array", "Long package path prefixes to report, such as /Game/Maps; omitted = all."),
					ListOf("string")),
				Opt("include_transient", "bool", "Also report transient (not disk-backed) packages. Default false.",
					"false"),
				Opt("include_maps", "bool", "Report map packages. Default true.", "true"),
				Opt("include_content", "bool", "Report non-map content packages. Default true.", "true"),
			}),
		Entry("save_packages", "packages", Destructive,
			"Save the requested packages to disk (UPackage::SavePackage + FSavePackageArgs).",
			{
				Shaped(Req("packages", "array", "Long package names to save, such as /Game/Maps/M_Arena."),
					ListOf("string")),
				Opt("fail_on_unrequested_dirty", "bool",
					"Refuse to save when packages other than the requested ones are dirty. Default false.", "false"),
				Shaped(Opt("scope_paths", "array",
					"Path prefixes that limit the unrequested-dirty check; omitted = every loaded package."),
						ListOf("string")),
				Opt("dry_run", "bool", "Report what would be saved without writing anything. Default false.", "false"),
			}),
		Entry("run_pie_smoke", "smoke", Mutating,
			"Start an ASYNC PIE smoke session on a map and RETURN IMMEDIATELY.",
			{
				S.Map,
				Opt("marker", "string",
					"Marker logged when PIE starts; the log lines after it are judged. Default TARNWICK_SMOKE.",
					"TARNWICK_SMOKE"),
				S.Duration,
				S.SampleVars,
				S.PawnClass,
				S.ConsoleScript,
				S.PythonScript,
				S.LogPatterns,
				S.IgnoreAfterPattern,
				S.TeardownAllowed,
				S.ProbeScripts,
				S.InputEvents,
				S.Stages,
				Opt("on_compile_errors", "string",
					"refuse: do not start PIE while Blueprints have compile errors; suppress: start anyway with the "
					"compile-error dialog silenced. Default refuse.", "refuse"),
				S.ActorSetup,
				S.CsvProfile,
				S.TraceChannels,
				S.SampleSpec,
				S.SampleInterval,
				S.DispatchInterval,
				S.Expect,
				S.MaxSamples,
				S.ResolveGraceSeconds,
				S.StrictSpecs,
				S.FailFast,
				S.Clock,
				S.Settle,
				S.SettleTimeout,
				S.MaxWallSeconds,
				S.TimeDilation,
				S.Unthrottle,
				S.RequireStable,
			}),
		Entry("validate_map", "maps", ReadOnly,
			"Read-only PIE pre-flight: whether a PIE run on the map would give a meaningful result, without starting "
			"PIE.",
			{
				OptAsset("map", "Level asset path such as /Game/Maps/M_Foo; omitted = the currently open level."),
			}),
		Entry("list_errored_blueprints", "maps", ReadOnly,
			"Read-only scan of all loaded Blueprints for unresolved compile errors, the condition that raises the "
			"blocking PIE compile-error modal."),
		Entry("poll_pie_smoke", "smoke", ReadOnly,
			"Poll an async PIE-smoke session by id.",
			{
				Req("session_id", "string", "Session id returned by run_pie_smoke or capture_pie_movement_clip."),
				Opt("include_samples", "bool", "Include the retained sample rows; false = summary only. Default false.",
					"false"),
			}),
		Entry("stop_pie_smoke", "smoke", Mutating,
			"Force-stop a PIE-smoke session (RequestEndPlayMap + mark stopped) and return its final report.",
			{
				Opt("session_id", "string", "Session to stop; omitted or empty = every running session."),
			}),
		Entry("capture_pie_movement_clip", "smoke", Mutating,
			"Start an asynchronous smoke session like run_pie_smoke that also captures a PIE viewport frame every "
			"capture_interval seconds.",
			{
				S.Map,
				Opt("marker", "string",
					"Marker logged when PIE starts; the log lines after it are judged. Default TARNWICK_CLIP.",
					"TARNWICK_CLIP"),
				S.Duration,
				Opt("capture_interval", "number", "Seconds between captured frames, clamped to 0.05-5. Default 0.25.",
					"0.25"),
				S.SampleVars,
				S.PawnClass,
				S.ConsoleScript,
				S.PythonScript,
				OptDisk("output_path",
					"Folder for the PNG frames (absolute, project-relative, or /Game/...); default "
					"Saved/Screenshots/Tarnwick/PieClip/<timestamp>."),
				S.LogPatterns,
				S.IgnoreAfterPattern,
				S.TeardownAllowed,
				S.ProbeScripts,
				S.InputEvents,
				S.Stages,
				Opt("view_target_actor", "string",
					"Substring of the label, name or class of the actor to view through while capturing."),
				Opt("discard_first_frames", "integer",
					"Leading frames written but not judged for validity, clamped to 0-16. Default 1.", "1"),
				Opt("expected_anim_class", "string",
					"Substring the pawn's live AnimClass path should contain; a mismatch is reported, never fatal."),
				S.ActorSetup,
				S.CsvProfile,
				S.TraceChannels,
				S.SampleSpec,
				S.SampleInterval,
				S.DispatchInterval,
				S.Expect,
				S.MaxSamples,
				S.ResolveGraceSeconds,
				S.StrictSpecs,
				S.FailFast,
				S.Clock,
				S.Settle,
				S.SettleTimeout,
				S.MaxWallSeconds,
				S.TimeDilation,
				S.Unthrottle,
				S.RequireStable,
			}),
		Entry("create_nav_harness_map", "maps", DestructiveIdempotent,
			"Build a navigation test map from a JSON spec: blank world, floor, nav bounds, camera, target points and "
			"actor instances with reflective defaults.",
			{
				ReqAsset("path", "Asset path for the new (throwaway) test map, such as /Game/Tests/M_NavHarness."),
				Opt("floor", "object",
					"{location, scale, mesh}; default a 50x50 m plane (/Engine/BasicShapes/Plane) at the origin."),
				Opt("nav_bounds", "object", "{location, extent}; default centred at the origin with extent [3000,3000,500]."),
				Opt("camera", "object", "{location, rotation} of a camera actor to spawn."),
				Shaped(Opt("target_points", "array", "[{name, location}] target points, also the navigation validation points."),
					ListOf("object")),
				Shaped(Opt("actors", "array", "[{class, location, rotation, folder, properties}] actor instances to spawn."),
					ListOf("object")),
				Shaped(Opt("validate_pairs", "array", "[{from, to}] target point names that must be joined by a navigation path."),
					ListOf("object")),
				Opt("game_mode_override", "string", "GameMode class path set as the map's GameMode override."),
				Shaped(Opt("player_starts", "array", "[{location, rotation, name}] PlayerStarts to spawn."),
					ListOf("object")),
				Opt("nav_timeout", "number", "Seconds to wait for navigation generation. Default 30.", "30"),
			}),
		Entry("author_map_settings", "maps", Mutating,
			"Author map-level settings on the open or a given map: GameMode override, player starts and actor "
			"instances with reflective defaults.",
			{
				OptAsset("path", "Map to open first as the editor world; omitted = the currently open map."),
				Opt("game_mode_override", "string", "GameMode class path set as the map's GameMode override."),
				Shaped(Opt("player_starts", "array", "[{location, rotation, name}] PlayerStarts to spawn."),
					ListOf("object")),
				Shaped(Opt("actors", "array", "[{class, location, rotation, folder, properties}] actor instances to spawn."),
					ListOf("object")),
				Opt("save", "bool", "Save the map afterwards. Default false.", "false"),
			}),
		Entry("capture_scene_preview", "capture", Idempotent,
			"Screenshot of an asset (Niagara, material, static mesh, skeletal mesh, widget) rendered in a preview "
			"scene.",
			{
				Req("asset_path", "string", "Asset to render."),
				Shaped(Req("asset_type", "string", "niagara, material, static_mesh, skeletal_mesh or widget."),
					FTarnwickParamShape::OneOf({"niagara", "material", "static_mesh", "skeletal_mesh", "widget"})),
				Opt("preview_mesh", "string", "Mesh a material is shown on: plane, sphere or cube. Default plane.",
					"plane"),
				Opt("seek_time", "number", "Seconds to advance a Niagara simulation or skeletal animation. Default 0.",
					"0.0"),
				Opt("animation_path", "string", "skeletal_mesh only: animation sequence to pose with at seek_time."),
				Opt("scale", "number", "widget only: DPI multiplier, at least 0.01. Default 1.", "1.0"),
				Opt("camera", "object", "{location, rotation, fov}; overrides auto-framing (fov default 60)."),
				Shaped(Opt("resolution", "array", "[width, height] of the PNG. Default [512,512].", "[512,512]"),
					Size2()),
				Opt("output_path", "string",
					"PNG path, absolute or project-relative; default under Saved/Screenshots/Tarnwick."),
			}),
		Entry("inspect_material_pbr", "capture", ReadOnly,
			"Inspect a UMaterialInterface's PBR parameter set.",
			{
				Req("asset_path", "string", "Material or material instance path."),
			}),
		Entry("inspect_texture_channels", "capture", Idempotent,
			"Inspect a UTexture2D's R/G/B/A channel statistics (min/max/mean per channel) plus "
			"format/dimensions/sRGB/alpha.",
			{
				Req("asset_path", "string", "Texture path."),
				Opt("emit_splits", "bool", "Also write each channel as a grayscale PNG. Default false.", "false"),
				Opt("output_dir", "string",
					"Folder for the channel PNGs; default Saved/Tests/Tarnwick/InspectTexture/<texture name>."),
			}),
		Entry("capture_material_grid", "capture", Idempotent,
			"Render N materials side-by-side on identical preview meshes in ONE scene, ONE camera, ONE PNG.",
			{
				Shaped(Req("material_paths", "array", "1 to 16 UMaterialInterface paths, one grid cell each."),
					FTarnwickParamShape::ArrayOf("string", 1, 16)),
				Opt("output_path", "string", "PNG path; default Saved/Screenshots/Tarnwick/CaptureMaterialGrid/<timestamp>.png."),
				Shaped(Opt("resolution", "array", "[width, height] of the whole grid. Default [1024,1024].", "[1024,1024]"),
					Size2()),
				Opt("columns", "integer", "Grid columns; default ceil(sqrt(material count))."),
				Opt("preview_mesh", "string", "sphere, plane or cube. Default sphere.", "sphere"),
				Opt("camera", "object", "{location, rotation, fov}; overrides auto-framing."),
			}),
		Entry("capture_with_overlay", "capture", Idempotent,
			"Render a static mesh with a show-flag overlay (wireframe, normals, uv_density, lightmap_density, "
			"shader_complexity) to PNG.",
			{
				Req("asset_path", "string", "Static mesh path."),
				Shaped(Req("mode", "string", "wireframe, normals, uv_density, lightmap_density or shader_complexity."),
					FTarnwickParamShape::OneOf({"wireframe", "normals", "uv_density", "lightmap_density", "shader_complexity"})),
				Opt("output_path", "string", "PNG path; default Saved/Screenshots/Tarnwick/CaptureWithOverlay/<timestamp>.png."),
				Shaped(Opt("resolution", "array", "[width, height] of the PNG. Default [512,512].", "[512,512]"),
					Size2()),
				Opt("camera", "object", "{location, rotation, fov}; overrides auto-framing."),
			}),
		Entry("capture_sequence_frames", "capture", Idempotent,
			"Capture multiple frames of an animated effect at specified timestamps",
			{
				Req("asset_path", "string", "Asset to render."),
				Req("asset_type", "string", "Kind of asset, as for capture_scene_preview (e.g. niagara)."),
				Shaped(Req("timestamps", "array", "Seconds at which to capture a frame."), ListOf("number")),
				Opt("camera", "object", "{location, rotation, fov}; overrides auto-framing."),
				Shaped(Opt("resolution", "array", "[width, height] of each frame. Default [512,512].", "[512,512]"),
					Size2()),
				Opt("output_dir", "string", "Folder for the frames; default under Saved/Screenshots/Tarnwick."),
				Opt("filename_prefix", "string", "Prefix of the frame file names. Default frame.", "frame"),
				Opt("persistent", "bool", "Keep one simulation running across the timestamps instead of restarting it."),
			}),
		Entry("capture_anim_frames", "capture", Idempotent,
			"Render a skeletal animation asset (sequence, blend space or animation blueprint) to PNG frames in an "
			"isolated preview scene, without PIE.",
			{
				ReqAsset("asset_path", "Animation sequence, blend space or animation blueprint."),
				OptAsset("skeletal_mesh", "Skeletal mesh to animate; default the animation's preview mesh."),
				Shaped(Opt("time_samples", "array", "Seconds at which to render; omitted = count frames spread over duration."),
					ListOf("number")),
				Opt("count", "integer", "Number of evenly spaced frames when time_samples is omitted. Default 8.", "8"),
				Opt("duration", "number", "Seconds the frames span; default the animation's length."),
				Opt("blend_params", "object", "Blend space input values, such as {\"x\": 150, \"y\": 0}."),
				Opt("camera", "object", "{location, rotation, fov}; overrides auto-framing."),
				Shaped(Opt("resolution", "array", "[width, height] of each frame. Default [512,512].", "[512,512]"),
					Size2()),
				OptDisk("output_dir", "Folder for the frames; default under Saved/Screenshots/Tarnwick."),
				Opt("filename_prefix", "string", "Prefix of the frame file names. Default frame.", "frame"),
			}),
		Entry("import_texture", "assets", DestructiveIdempotent,
			"Import an external image as a UTexture2D with configurable settings",
			{
				Req("source_path", "string", "Image file on disk to import."),
				Req("destination", "string", "Asset path of the new texture, such as /Game/Textures/T_Rock."),
				Opt("settings", "object", "Texture settings to apply, such as {srgb, compression, lod_group}."),
			}),
		Entry("stitch_flipbook", "assets", Destructive,
			"Stitch individual frame images into a flipbook atlas texture and import as UTexture2D",
			{
				Shaped(Req("frame_paths", "array", "Frame image files on disk, in playback order."), ListOf("string")),
				Req("dest_path", "string", "Asset path of the atlas texture."),
				Shaped(Req("grid", "array", "[columns, rows] of the atlas."),
					FTarnwickParamShape::Exactly(2, "integer")),
				Opt("srgb", "bool", "Import the atlas as sRGB. Default true.", "true"),
				Opt("no_mipmaps", "bool", "Import without mipmaps. Default true.", "true"),
				Opt("delete_sources", "bool", "Delete the frame files after stitching. Default true.", "true"),
				Opt("lod_group", "string", "Texture LOD group. Default TEXTUREGROUP_Effects.", "TEXTUREGROUP_Effects"),
			}),
		Entry("delete_assets", "assets", Destructive,
			"Delete UE assets by path.",
			{
				Shaped(Req("asset_paths", "array", "Asset paths to delete."), ListOf("string")),
				Shaped(Opt("allowed_prefixes", "array", "Only delete assets under these path prefixes."),
					ListOf("string")),
				Opt("force", "bool", "Delete even when other assets still reference them. Default false.", "false"),
			}),
		Entry("get_viewport_info", "viewport", ReadOnly,
			"Get current editor viewport camera position, rotation, FOV, and resolution"),
		Entry("capture_system_gif", "capture", Idempotent,
			"Capture a Niagara system as a sequence of PNG frames with optional GIF encoding via ffmpeg or python",
			{
				Req("asset_path", "string", "Niagara system path."),
				Opt("duration_seconds", "number", "Seconds of simulation to capture."),
				Opt("fps", "number", "Frames captured per second of simulation."),
				Shaped(Opt("resolution", "array", "[width, height] of each frame."), Size2()),
				Opt("output_path", "string", "Folder for the frames and the GIF; default under Saved/Screenshots/Tarnwick."),
				Opt("encoder", "string", "GIF encoder: ffmpeg, python, or none for PNG frames only."),
			}),
		Entry("run_console_command", "console", Destructive,
			"Execute one console command in the editor world or, when PIE runs, through the PIE player controller, "
			"and return its captured output.",
			{
				Req("command", "string", "One console command; chaining and commands that end or crash the editor are refused."),
				Shaped(Opt("target", "string",
					"auto (PIE when a session is active, else the editor), editor or pie. Default auto.", "auto"),
						FTarnwickParamShape::OneOf({"auto", "editor", "pie"})),
			}),
		Entry("capture_viewport", "capture", Mutating,
			"Capture a PNG screenshot of the live level viewport.",
			{
				Shaped(Opt("resolution", "array", "[width, height]; default the viewport's native size."), Size2()),
				Opt("output_path", "string", "PNG path; default Saved/Screenshots/Tarnwick/<unix time>_viewport.png."),
				Opt("as_base64", "bool", "Also return the PNG inline as base64. Default false.", "false"),
				Opt("realtime", "bool",
					"Force the viewport realtime during the capture so the frame is not stale. Default true.", "true"),
				Opt("include_hud", "bool", "Composite the PIE UI overlay (UMG, debug HUD) into the capture. Default false.",
					"false"),
			}),
		Entry("open_level", "level", Destructive,
			"Load a level (.umap) by content path.",
			{
				Req("level_path", "string", "Level path under /Game/ or /Engine/, such as /Game/Maps/MyLevel."),
				Opt("save_current", "bool", "Save dirty packages first, without prompting. Default true.", "true"),
			}),
		Entry("save_level", "level", Destructive,
			"Save the currently edited persistent level.",
			{
				Opt("map_path", "string", "Level expected to be saved; it is opened first when another level is current."),
				Opt("force", "bool", "Save even when the level is not dirty. Default false.", "false"),
				Debug(),
			}),
		Entry("create_level", "level", Destructive,
			"Create a new level at the given /Game/ path.",
			{
				Req("level_path", "string", "Path of the new level, such as /Game/Maps/NewLevel."),
				Opt("template", "string", "empty, or the path of a level to copy. Default empty.", "empty"),
				Opt("save_current", "bool", "Save dirty packages first, without prompting. Default true.", "true"),
			}),
		Entry("start_play", "pie", Mutating,
			"Begin a Play-in-Editor session via GEditor->RequestPlaySession."),
		Entry("stop_play", "pie", Idempotent,
			"End the active Play-in-Editor session via GEditor->RequestEndPlayMap."),
		Gated(ETarnwickActionGate::EditorRestart, Entry("restart", "restart", Destructive,
			"Save, quit and relaunch the Unreal Editor process, reopening the same .uproject.")),
		Entry("pause_pie", "pie", Idempotent,
			"Pause the active Play-in-Editor session."),
		Entry("resume_pie", "pie", Idempotent,
			"Resume the active Play-in-Editor session from a paused state."),
		Entry("step_pie", "pie", Mutating,
			"Advance the paused PIE session by N frames, then re-pause.",
			{
				Opt("frames", "integer", "Frames to advance, clamped to 1-120. Default 1.", "1"),
			}),
		Entry("is_pie_active", "pie", ReadOnly,
			"Returns whether a PIE session is running, whether it's paused, and basic world metadata."),
		Entry("move_camera", "viewport", Idempotent,
			"Set the active editor viewport's camera location and/or rotation.",
			{
				Shaped(Opt("location", "array", "[x, y, z] in world units."), Vector3()),
				Shaped(Opt("rotation", "array", "[pitch, yaw, roll] in degrees."), Vector3()),
			}),
		Entry("look_at", "viewport", Idempotent,
			"Point the editor camera at a world-space target.",
			{
				Shaped(Req("target", "array", "[x, y, z] world-space point to look at."), Vector3()),
				Opt("distance", "number", "Distance from the target to place the camera at."),
			}),
		Entry("set_fov", "viewport", Idempotent,
			"Set the active viewport's field-of-view (degrees).",
			{
				Req("fov", "number", "Field of view in degrees, clamped to 5-170."),
			}),
		Entry("set_view_mode", "viewport", Idempotent,
			"Change the viewport render mode.",
			{
				Shaped(Req("mode", "string",
					"lit, unlit, wireframe, detail_lighting, lighting_only, shader_complexity, lightmap_density, "
					"reflections, collision_pawn, collision_visibility, lod or quad_overdraw."), ViewModes()),
			}),
		Entry("toggle_realtime", "viewport", Mutating,
			"Toggle the viewport's realtime flag.",
			{
				Opt("enabled", "bool", "New state; omitted = flip the current state."),
			}),
		Entry("toggle_game_view", "viewport", Mutating,
			"Toggle the viewport's Game View (hides editor-only sprites/icons).",
			{
				Opt("enabled", "bool", "New state; omitted = flip the current state."),
			}),
		Entry("package_project", "jobs", Mutating,
			"Package the project for the given platform/configuration via UAT's BuildCookRun. Returns at once with "
			"an async_job_id; poll it with brindle_get_async_job.",
			{
				Opt("platform", "string", "Target platform. Default Win64."),
				Opt("configuration", "string", "Build configuration. Default Development.", "Development"),
				Opt("output_dir", "string", "Archive folder; default <project>/Saved/StagedBuilds."),
				Opt("skip_cook_if_possible", "bool", "Cook iteratively (-iterate). Default false.", "false"),
			}),
		Entry("cook_content", "jobs", Mutating,
			"Cook content for the given platform via UAT. Returns at once with an async_job_id; poll it with "
			"brindle_get_async_job.",
			{
				Opt("platform", "string", "Target platform. Default Win64."),
				Shaped(Opt("map_filter", "array", "Map paths to cook; omitted = every map."), ListOf("string")),
			}),
		Entry("build_lighting", "jobs", Mutating,
			"Trigger a static lighting build on the current world. Returns at once with an async_job_id; poll it "
			"with brindle_get_async_job.",
			{
				Opt("quality", "string", "preview, medium, high or production. Default preview.", "preview"),
				Opt("apply_to", "string", "whole_world or current_level. Default whole_world.", "whole_world"),
			}),
		Entry("rebuild_navigation", "jobs", Mutating,
			"Rebuild the navmesh on the current world. Returns at once with an async_job_id; poll it with "
			"brindle_get_async_job.",
			{
				Opt("force_rebuild", "bool", "Cancel builds in progress and rebuild from scratch. Default false.", "false"),
			}),
		Entry("set_lightmap_settings", "level", Idempotent,
			"Set the overridden lightmap resolution on every static mesh component of the named actor.",
			{
				Req("actor_name", "string", "Label of the actor in the editor world."),
				Req("resolution", "integer", "Lightmap resolution, clamped to 32-2048; must then be a power of two."),
			}),
		Entry("undo", "undo", Mutating,
			"Undo the most recent editor transaction(s).",
			{
				Opt("count", "number", "Transactions to undo, at most 50. Default 1.", "1"),
			}),
		Entry("redo", "undo", Mutating,
			"Redo the most recently undone editor transaction(s).",
			{
				Opt("count", "number", "Transactions to redo, at most 50. Default 1.", "1"),
			}),
		Entry("list_automation_tests", "automation", ReadOnly,
			"List all registered automation tests, optionally filtered by prefix",
			{
				Opt("prefix", "string", "Full-path prefix of the tests to list; omitted = all."),
			}),
		Entry("run_automation_tests", "automation", Destructive,
			"Run automation tests by prefix in the running editor (no PIE, no separate process).",
			{
				Req("prefix", "string", "Full-path prefix of the tests to run, such as Project.Combat."),
				Opt("max_tests", "number", "Most tests to run. Default 200."),
			}),
		Entry("load_level", "level", Destructive,
			"Close the current persistent level and load the given level by /Game/ asset path, refusing by default "
			"when unsaved changes exist.",
			{
				ReqAsset("path", "Level asset path, such as /Game/Maps/M_Arena."),
				Shaped(Opt("dirty_policy", "string",
					"refuse: fail when the current level has unsaved changes; discard: drop them. Default refuse.",
					"refuse"), FTarnwickParamShape::OneOf({"refuse", "discard"})),
			}),
	});
}

// ---- Reflective property, post-process, mobility and waypoint capture ----------------------------------

std::vector<FTarnwickActionSpec> MakeEditorReflection()
{
	return InNamespace("editor", {
		Entry("set_asset_properties", "reflection", Destructive,
			"Update UPROPERTYs on an existing asset (DataAsset, MaterialParameterCollection, etc.) via reflection.",
			{
				Req("asset_path", "string", "Asset to update."),
				Req("properties", "object", "Property names and the values to set."),
				Opt("save", "boolean", "Save the asset afterwards. Default true.", "true"),
				Opt("strict", "boolean", "Fail on any unknown or unsettable property. Default true.", "true"),
				Debug(),
			}),
		Entry("set_actor_uproperties", "reflection", Idempotent,
			"Reflection-driven peer of mesh.set_actor_properties (which is a fixed-schema fast path).",
			{
				Req("actor_name", "string", "Label or name of the actor in the editor world."),
				Req("properties", "object", "Property names (or dotted component paths) and the values to set."),
				Opt("strict", "boolean", "Fail on any unknown or unsettable property. Default true.", "true"),
				Debug(),
			}),
		Entry("list_actor_functions", "reflection", ReadOnly,
			"Reflection: enumerate UFunctions on a resolved actor (or one of its components).",
			{
				Req("actor_name", "string", "Label or name of the actor in the editor world."),
				Opt("component", "string", "Component to list instead of the actor."),
				Opt("flags", "string", "Function flag filter, such as BlueprintCallable."),
				Debug(),
			}),
		Entry("spawn_post_process_volume", "level", Mutating,
			"Spawn an APostProcessVolume with auto-flipped bOverride_* flags.",
			{
				Opt("unbound", "boolean", "Affect the whole world (infinite extent). Default true.", "true"),
				Opt("priority", "number", "Blend priority. Default 0.", "0.0"),
				Opt("blend_radius", "number", "Blend radius in world units. Default 100.", "100.0"),
				Opt("auto_exposure", "object", "Auto-exposure settings to override."),
				Opt("indirect_lighting_intensity", "number", "Indirect lighting intensity to override."),
				Shaped(Opt("location", "array", "[x, y, z] of the volume. Default [0,0,0].", "[0,0,0]"), Vector3()),
				Opt("name", "string", "Actor label."),
				Opt("folder", "string", "Outliner folder."),
				Debug(),
			}),
		Entry("set_post_process_settings", "level", Idempotent,
			"Update FPostProcessSettings on an existing APostProcessVolume.",
			{
				Req("actor_name", "string", "Label or name of the post-process volume."),
				Opt("auto_exposure", "object", "Auto-exposure settings to override."),
				Opt("indirect_lighting_intensity", "number", "Indirect lighting intensity to override."),
				Debug(),
			}),
		Entry("set_component_mobility", "level", Idempotent,
			"Component-level mobility setter.",
			{
				Req("actor_name", "string", "Label or name of the actor in the editor world."),
				Req("mobility", "string", "static, stationary or movable."),
				Opt("component", "string", "Component to change; omitted = the root component."),
				Debug(),
			}),
		Entry("capture_waypoints", "capture", Idempotent,
			"Render PNG screenshots from a list of waypoint transforms (or pulled from a UDataAsset's `waypoints` "
			"array).",
			{
				Opt("map_path", "string", "Level to open first; omitted = the currently open level."),
				Shaped(Opt("waypoints", "array", "[{location, rotation}] camera transforms to render from."),
					ListOf("object")),
				Opt("asset_path", "string", "Data asset whose `waypoints` array supplies the transforms."),
				Req("output_dir", "string", "Folder for the screenshots."),
				Opt("filename_prefix", "string", "Prefix of the file names. Default wp.", "wp"),
				Shaped(Opt("resolution", "array", "[width, height] of each screenshot. Default [1280,720].", "[1280,720]"),
					Size2()),
				Opt("fov", "number", "Field of view in degrees. Default 90.", "90"),
				Opt("format", "string", "Image format. Default png.", "png"),
				Debug(),
			}),
	});
}

// ---- The namespace "editor_utility": wrappers over UEditorUtilitySubsystem -----------------------------

std::vector<FTarnwickActionSpec> MakeEditorUtility()
{
	return InNamespace("editor_utility", {
		Entry("run", "utility", Destructive,
			"Load an Editor Utility Blueprint (or any UObject TryRun accepts) by asset path and invoke "
			"UEditorUtilitySubsystem::TryRun.",
			{
				Req("asset_path", "string", "Asset path of the Editor Utility Blueprint or object to run."),
			}),
		Entry("run_class", "utility", Destructive,
			"Load a UClass (Blueprint generated class) by path and invoke UEditorUtilitySubsystem::TryRunClass.",
			{
				Req("class_path", "string", "Path of the class to run, such as /Game/Tools/EUB_Tool.EUB_Tool_C."),
			}),
		Entry("can_run", "utility", ReadOnly,
			"Return whether the subsystem can run the given asset (UEditorUtilitySubsystem::CanRun).",
			{
				Req("asset_path", "string", "Asset path to check."),
			}),
		Entry("release_instance", "utility", Idempotent,
			"Release the subsystem's retained instance of the given asset "
			"(UEditorUtilitySubsystem::ReleaseInstanceOfAsset) so it can be GC'd.",
			{
				Req("asset_path", "string", "Asset path whose instance to release."),
			}),
		Entry("spawn_tab", "utility", Mutating,
			"Spawn and register an Editor Utility Widget as a docked tab.",
			{
				Req("widget_path", "string", "Asset path of the Editor Utility Widget Blueprint."),
			}),
		Entry("spawn_tab_with_id", "utility", Idempotent,
			"Spawn and register an Editor Utility Widget tab with a caller-supplied tab_id (idempotent re-open by "
			"stable ID).",
			{
				Req("widget_path", "string", "Asset path of the Editor Utility Widget Blueprint."),
				Req("tab_id", "string", "Stable id to register the tab under."),
			}),
		Entry("spawn_registered_tab", "utility", Mutating,
			"Re-spawn a tab that was previously registered in this session by its tab_id.",
			{
				Req("tab_id", "string", "Id the tab was registered under."),
			}),
		Entry("tab_exists", "utility", ReadOnly,
			"Check whether a tab with the given tab_id currently exists.",
			{
				Req("tab_id", "string", "Tab id to look for."),
			}),
		Entry("close_tab", "utility", Idempotent,
			"Close an open tab by its tab_id (UEditorUtilitySubsystem::CloseTabByID).",
			{
				Req("tab_id", "string", "Tab id to close."),
			}),
		Entry("unregister_tab", "utility", Idempotent,
			"Close and unregister a tab (UEditorUtilitySubsystem::UnregisterTabByID).",
			{
				Req("tab_id", "string", "Tab id to unregister."),
			}),
		Entry("find_widget_for_blueprint", "utility", ReadOnly,
			"Get the currently-tabbed UEditorUtilityWidget for the given EUW blueprint (null if not tabbed).",
			{
				Req("widget_path", "string", "Asset path of the Editor Utility Widget Blueprint."),
			}),
		Entry("run_task", "utility", Destructive,
			"Instantiate and execute a UEditorUtilityTask asynchronously. Returns at once with an async_job_id; "
			"poll it with brindle_get_async_job.",
			{
				Req("task_path", "string", "Class path of the Editor Utility Task to run."),
			}),
		Entry("cancel_task", "utility", Mutating,
			"Request cancellation of a running Editor Utility Task by its async_job_id.",
			{
				Req("async_job_id", "string", "Job id returned by run_task."),
			}),
		Entry("list_registered_tabs", "utility", ReadOnly,
			"List tab_ids currently registered with the Editor Utility subsystem."),
	});
}

// ---- Maps and modules; stats ----------------------------------------------------------------------------

std::vector<FTarnwickActionSpec> MakeEditorMapsAndModules()
{
	return InNamespace("editor", {
		Entry("create_empty_map", "maps", DestructiveIdempotent,
			"Create a fully blank world asset at a /Game/ path and save it at once.",
			{
				Req("path", "string", "Asset path of the new map, such as /Game/Tests/M_Empty."),
				Opt("map_template", "string", "Template of the new world. Default blank.", "blank"),
			}),
		Entry("get_module_status", "modules", ReadOnly,
			"Report plugin-enabled + module-loaded status for Brindle (or arbitrary) modules.",
			{
				Shaped(Opt("module_names", "array", "Module names to report; omitted = the Brindle modules."),
					ListOf("string")),
			}),
	});
}

std::vector<FTarnwickActionSpec> MakeEditorStats()
{
	return InNamespace("editor", {
		Entry("get_stat_group_values", "stats", ReadOnly,
			"Read the values of a stats group programmatically into a structured response.",
			{
				Req("group_name", "string", "Stats group to read, such as STATGROUP_Game or Game."),
				Opt("sample_frames", "integer", "Frames to sample before reading. Default 1.", "1"),
			}),
	});
}
}

const std::vector<FTarnwickActionSpec>& GetActionCatalogue(ETarnwickRegistrationGroup Group)
{
	static const std::vector<FTarnwickActionSpec> EditorMain = MakeEditorMain();
	static const std::vector<FTarnwickActionSpec> EditorReflection = MakeEditorReflection();
	static const std::vector<FTarnwickActionSpec> EditorUtility = MakeEditorUtility();
	static const std::vector<FTarnwickActionSpec> EditorMapsAndModules = MakeEditorMapsAndModules();
	static const std::vector<FTarnwickActionSpec> EditorStats = MakeEditorStats();
	switch (Group)
	{
	case ETarnwickRegistrationGroup::EditorMain: return EditorMain;
	case ETarnwickRegistrationGroup::EditorReflection: return EditorReflection;
	case ETarnwickRegistrationGroup::EditorUtility: return EditorUtility;
	case ETarnwickRegistrationGroup::EditorMapsAndModules: return EditorMapsAndModules;
	case ETarnwickRegistrationGroup::EditorStats: return EditorStats;
	}
	return EditorStats;
}

std::vector<FTarnwickActionSpec> GetFullActionCatalogue()
{
	std::vector<FTarnwickActionSpec> All;
	for (ETarnwickRegistrationGroup Group : GTarnwickRegistrationGroups)
	{
		const auto& Entries = GetActionCatalogue(Group);
		All.insert(All.end(), Entries.begin(), Entries.end());
	}
	return All;
}

const char* ToString(ETarnwickRegistrationGroup Group)
{
	switch (Group)
	{
	case ETarnwickRegistrationGroup::EditorMain: return "EditorMain";
	case ETarnwickRegistrationGroup::EditorReflection: return "EditorReflection";
	case ETarnwickRegistrationGroup::EditorUtility: return "EditorUtility";
	case ETarnwickRegistrationGroup::EditorMapsAndModules: return "EditorMapsAndModules";
	case ETarnwickRegistrationGroup::EditorStats: return "EditorStats";
	}
	return "Unknown";
}
