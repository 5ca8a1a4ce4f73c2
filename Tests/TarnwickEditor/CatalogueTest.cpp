// The action catalogue as clients see it after registration: group sizes and order, exact schema JSON,
// the kinds and debug switches, legacy names, the restart gate, the not-implemented answer, the list of
// actions still waiting for a handler, and docs/tools.md staying in step with the table.
#include "Catalogue/TarnwickActionCatalogue.h"
#include "Catalogue/TarnwickCatalogueRegistration.h"
#include "TarnwickEditorHandlers.h"
#include "TarnwickSettings.h"
#include "TarnwickTestHelpers.h"
#include "Viewport/ViewportRules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

using Tarnwick::Test::FRegistryTest;
using Tarnwick::Test::FTempDir;

namespace
{
void RegisterAll(const FTarnwickHandlerTable& Handlers)
{
	for (ETarnwickRegistrationGroup Group : GTarnwickRegistrationGroups)
	{
		Tarnwick::Editor::RegisterCatalogueGroup(Group, Handlers);
	}
}

FJson SchemaOf(const std::string& Namespace, const std::string& Action)
{
	const auto Info = FTarnwickToolRegistry::Get().FindAction(Namespace, Action);
	if (!Info || !Info->ParamSchema) return FJson();
	return *Info->ParamSchema;
}

std::vector<std::string> ParamNames(const FJson& Schema)
{
	std::vector<std::string> Names;
	for (const auto& Item : Schema.items()) Names.push_back(Item.key());
	return Names;
}

const FTarnwickActionSpec* FindSpec(const std::string& Namespace, const std::string& Action)
{
	for (ETarnwickRegistrationGroup Group : GTarnwickRegistrationGroups)
	{
		for (const FTarnwickActionSpec& Spec : GetActionCatalogue(Group))
		{
			if (Spec.Namespace == Namespace && Spec.Action == Action) return &Spec;
		}
	}
	return nullptr;
}

FTarnwickActionHandler Counting(int* Calls, const char* Tag)
{
	return [Calls, Tag](const FJsonPtr&) {
		++*Calls;
		return FTarnwickActionResult::Success(FJson{{"ran", Tag}});
	};
}
}

class CatalogueTest : public FRegistryTest
{
};

TEST_F(CatalogueTest, GroupsHaveTheirSizesNamespacesAndBoundaries)
{
	struct FCase
	{
		ETarnwickRegistrationGroup Group;
		size_t Count;
		const char* Namespace;
		const char* First;
		const char* Last;
	};
	const FCase Cases[] = {
		{ETarnwickRegistrationGroup::EditorMain, 65, "editor", "trigger_build", "load_level"},
		{ETarnwickRegistrationGroup::EditorReflection, 7, "editor", "set_asset_properties", "capture_waypoints"},
		{ETarnwickRegistrationGroup::EditorUtility, 14, "editor_utility", "run", "list_registered_tabs"},
		{ETarnwickRegistrationGroup::EditorMapsAndModules, 2, "editor", "create_empty_map", "get_module_status"},
		{ETarnwickRegistrationGroup::EditorStats, 1, "editor", "get_stat_group_values", "get_stat_group_values"},
	};
	const FTarnwickHandlerTable NoHandlers;
	for (const FCase& C : Cases)
	{
		SCOPED_TRACE(ToString(C.Group));
		const auto& Entries = GetActionCatalogue(C.Group);
		ASSERT_EQ(Entries.size(), C.Count);
		EXPECT_EQ(Entries.front().Action, C.First);
		EXPECT_EQ(Entries.back().Action, C.Last);
		for (const FTarnwickActionSpec& Spec : Entries) EXPECT_EQ(Spec.Namespace, C.Namespace) << Spec.Action;
		EXPECT_EQ(Tarnwick::Editor::RegisterCatalogueGroup(C.Group, NoHandlers), static_cast<int32>(C.Count));
	}

	// The start-up log counts the editor namespace only: 65 + 7 + 2 + 1.
	auto& Registry = FTarnwickToolRegistry::Get();
	EXPECT_EQ(Registry.GetActions("editor").size(), 75u);
	EXPECT_EQ(Registry.GetActions("editor_utility").size(), 14u);
	EXPECT_EQ(Registry.GetNamespaces(), (std::vector<std::string>{"editor", "editor_utility"}));

	// Registration order within the registry follows the groups: utility sits between reflection and maps.
	const auto Editor = Registry.GetActions("editor");
	EXPECT_EQ(Editor[64].Action, "load_level");
	EXPECT_EQ(Editor[65].Action, "set_asset_properties");
	EXPECT_EQ(Editor[72].Action, "create_empty_map");
	EXPECT_EQ(Editor[74].Action, "get_stat_group_values");
}

TEST_F(CatalogueTest, EveryEntryIsWellFormed)
{
	const std::set<std::string> Types = {"string", "number", "integer", "bool", "boolean", "array", "object",
		"array|object", "boolean|string"};
	std::set<std::string> ToolNames;
	for (const FTarnwickActionSpec& Spec : GetFullActionCatalogue())
	{
		SCOPED_TRACE(Spec.QualifiedName());
		const std::string ToolName = Spec.Namespace + "_" + Spec.Action;
		EXPECT_TRUE(FTarnwickToolRegistry::IsValidToolName(ToolName));
		EXPECT_TRUE(ToolNames.insert(ToolName).second) << "duplicate tool name";
		EXPECT_FALSE(Spec.Description.empty());
		EXPECT_FALSE(Spec.Family.empty());

		std::set<std::string> Names;
		for (const FTarnwickParamSpec& Param : Spec.Params)
		{
			// A repeated name would silently replace the earlier schema entry.
			EXPECT_TRUE(Names.insert(Param.Name).second) << "duplicate parameter " << Param.Name;
			EXPECT_TRUE(Types.contains(Param.Type)) << Param.Name << ": " << Param.Type;
			EXPECT_FALSE(Param.Description.empty()) << Param.Name;
			EXPECT_FALSE(Param.bRequired && !Param.Default.empty()) << Param.Name << " is required but has a default";
			if (Param.Kind != EParamKind::None)
			{
				EXPECT_EQ(Param.Type, "string") << Param.Name;
			}
		}
		if (!Spec.HandlerAction.empty())
		{
			EXPECT_NE(FindSpec(Spec.Namespace, Spec.HandlerAction), nullptr) << "runs the handler of a missing action";
		}
	}
	EXPECT_EQ(ToolNames.size(), 89u);

	for (const FTarnwickActionSpec& Spec : GetActionCatalogue(ETarnwickRegistrationGroup::EditorUtility))
	{
		for (const FTarnwickParamSpec& Param : Spec.Params)
		{
			EXPECT_TRUE(Param.bRequired && Param.Type == "string" && Param.Default.empty()) << Spec.Action << "." << Param.Name;
		}
	}
}

TEST_F(CatalogueTest, RegisteredSchemasAreExact)
{
	RegisterAll(FTarnwickHandlerTable());

	EXPECT_EQ(SchemaOf("editor", "get_recent_logs"), FJson::parse(R"({
		"count": {"type": "integer", "description": "Number of entries to return", "required": false, "default": "50"}
	})"));
	EXPECT_EQ(SchemaOf("editor", "search_build_output"), FJson::parse(R"({
		"pattern": {"type": "string", "description": "Search pattern", "required": true},
		"limit": {"type": "integer", "description": "Max results to return", "required": false, "default": "100"}
	})"));
	EXPECT_EQ(SchemaOf("editor", "load_level"), FJson::parse(R"({
		"path": {"type": "string", "description": "Level asset path, such as /Game/Maps/M_Arena.", "required": true,
			"kind": "AssetPath"},
		"dirty_policy": {"type": "string",
			"description": "refuse: fail when the current level has unsaved changes; discard: drop them. Default refuse.",
			"required": false, "default": "refuse", "shape": {"enum": ["refuse", "discard"]}}
	})"));
	// Shapes tell a client what an array holds and which texts a handler accepts; descriptions are untouched.
	EXPECT_EQ(SchemaOf("editor", "move_camera")["location"], FJson::parse(R"({"type": "array",
		"description": "[x, y, z] in world units.", "required": false,
		"shape": {"items": "number", "min_items": 3, "max_items": 3}})"));
	EXPECT_EQ(SchemaOf("editor", "look_at")["target"]["shape"], SchemaOf("editor", "move_camera")["rotation"]["shape"]);
	EXPECT_EQ(SchemaOf("editor", "set_view_mode")["mode"]["shape"]["enum"].size(), Tarnwick::Viewport::GetViewModeNames().size());
	const FJson Names = SchemaOf("editor", "set_view_mode")["mode"]["shape"]["enum"];
	for (const auto& Mode : Tarnwick::Viewport::GetViewModeNames())
	{
		EXPECT_NE(std::find(Names.begin(), Names.end(), FJson(Mode.Name)), Names.end()) << Mode.Name;
	}
	EXPECT_EQ(SchemaOf("editor", "capture_material_grid")["material_paths"]["shape"],
		FJson::parse(R"({"items": "string", "min_items": 1, "max_items": 16})"));
	EXPECT_EQ(SchemaOf("editor", "run_pie_smoke")["clock"]["shape"], FJson::parse(R"({"enum": ["game", "wall"]})"));

	// Key order is part of the interface: type, description, required, default, kind.
	const FJson Map = SchemaOf("editor", "run_pie_smoke")["map"];
	EXPECT_EQ(ParamNames(Map), (std::vector<std::string>{"type", "description", "required", "kind"}));
	const FJson Discard = SchemaOf("editor", "capture_pie_movement_clip")["discard_first_frames"];
	EXPECT_EQ(ParamNames(Discard), (std::vector<std::string>{"type", "description", "required", "default"}));

	const FJson GetBuildErrors = SchemaOf("editor", "get_build_errors");
	EXPECT_EQ(ParamNames(GetBuildErrors), (std::vector<std::string>{"since_marker", "since_iso", "since_seconds", "since",
		"clear_baseline", "category", "compile_only", "exclude_categories"}));
	EXPECT_EQ(GetBuildErrors["since"], FJson::parse(R"({"type": "number",
		"description": "Legacy alias for since_seconds (last N seconds).", "required": false})"));
	// An empty default leaves no key; "false" stays text, never a JSON false.
	EXPECT_FALSE(GetBuildErrors["since_marker"].contains("default"));
	EXPECT_EQ(GetBuildErrors["clear_baseline"]["default"], FJson("false"));
	EXPECT_EQ(GetBuildErrors["clear_baseline"]["type"], "bool");
	EXPECT_EQ(SchemaOf("editor", "capture_scene_preview")["resolution"]["default"], FJson("[512,512]"));
	EXPECT_FALSE(SchemaOf("editor", "package_project")["platform"].contains("default")) << "applied by the handler only";

	EXPECT_EQ(SchemaOf("editor", "poll_pie_smoke")["session_id"]["required"], true);
	EXPECT_EQ(SchemaOf("editor", "stop_pie_smoke")["session_id"]["required"], false);

	for (const char* Parameterless : {"get_log_stats", "restart", "start_pie", "get_viewport_info"})
	{
		const FJson Schema = SchemaOf("editor", Parameterless);
		EXPECT_TRUE(Schema.is_object() && Schema.empty()) << Parameterless << ": " << Schema.dump();
	}
	const FJson Tabs = SchemaOf("editor_utility", "list_registered_tabs");
	EXPECT_TRUE(Tabs.is_object() && Tabs.empty());

	for (const FTarnwickActionInfo& Info : FTarnwickToolRegistry::Get().GetAllActions())
	{
		for (const auto& Item : Info.ParamSchema->items())
		{
			EXPECT_FALSE(Item.value().contains("aliases")) << Info.ToolName() << "." << Item.key();
		}
	}
}

TEST_F(CatalogueTest, SmokeActionsListTheirOptionsInOrder)
{
	RegisterAll(FTarnwickHandlerTable());
	const std::vector<std::string> Shared = {"sample_spec", "sample_interval", "dispatch_interval", "expect", "max_samples",
		"resolve_grace_seconds", "strict_specs", "fail_fast", "clock", "settle", "settle_timeout", "max_wall_seconds",
		"time_dilation", "unthrottle", "require_stable"};

	std::vector<std::string> Smoke = {"map", "marker", "duration", "sample_vars", "pawn_class", "console_script",
		"python_script", "log_patterns", "ignore_after_pattern", "teardown_allowed", "probe_scripts", "input_events", "stages",
		"on_compile_errors", "actor_setup", "csv_profile", "trace_channels"};
	Smoke.insert(Smoke.end(), Shared.begin(), Shared.end());
	const FJson SmokeSchema = SchemaOf("editor", "run_pie_smoke");
	EXPECT_EQ(ParamNames(SmokeSchema), Smoke);

	std::vector<std::string> Clip = {"map", "marker", "duration", "capture_interval", "sample_vars", "pawn_class",
		"console_script", "python_script", "output_path", "log_patterns", "ignore_after_pattern", "teardown_allowed",
		"probe_scripts", "input_events", "stages", "view_target_actor", "discard_first_frames", "expected_anim_class",
		"actor_setup", "csv_profile", "trace_channels"};
	Clip.insert(Clip.end(), Shared.begin(), Shared.end());
	const FJson ClipSchema = SchemaOf("editor", "capture_pie_movement_clip");
	EXPECT_EQ(ParamNames(ClipSchema), Clip);

	for (const FJson* Schema : {&SmokeSchema, &ClipSchema})
	{
		for (const auto& Item : Schema->items()) EXPECT_FALSE(Item.value()["required"].get<bool>()) << Item.key();
		EXPECT_EQ((*Schema)["log_patterns"]["type"], "array|object");
		EXPECT_EQ((*Schema)["stages"]["type"], "object");
		EXPECT_EQ((*Schema)["max_samples"]["type"], "integer");
		EXPECT_EQ((*Schema)["max_wall_seconds"].value("default", "<none>"), "<none>") << "derived, so not registered";
	}
	EXPECT_EQ(SmokeSchema["marker"]["default"], "TARNWICK_SMOKE");
	EXPECT_EQ(ClipSchema["marker"]["default"], "TARNWICK_CLIP");
	// The options the two actions share are described identically.
	for (const std::string& Name : Shared) EXPECT_EQ(SmokeSchema[Name], ClipSchema[Name]) << Name;
}

TEST_F(CatalogueTest, KindsAndDebugSwitchesAreExactlyWhereDeclared)
{
	std::set<std::string> Kinds;
	std::set<std::string> WithDebug;
	for (const FTarnwickActionSpec& Spec : GetFullActionCatalogue())
	{
		for (const FTarnwickParamSpec& Param : Spec.Params)
		{
			if (Param.Kind != EParamKind::None)
			{
				Kinds.insert(Spec.Action + "." + Param.Name + "=" + ToString(Param.Kind) + (Param.bRequired ? "!" : ""));
			}
			if (Param.Name == "debug")
			{
				WithDebug.insert(Spec.Action);
				FTarnwickParamSchemaBuilder Expected;
				Expected.Add("debug", "boolean|string", "Set true (or 'verbose') to receive a `_debug` block.", false, "false",
					true);
				EXPECT_EQ((*Tarnwick::Editor::BuildParamSchema(Spec))["debug"], (*Expected.Build())["debug"]) << Spec.Action;
			}
		}
	}
	EXPECT_EQ(Kinds, (std::set<std::string>{
						 "run_pie_smoke.map=AssetPath",
						 "capture_pie_movement_clip.map=AssetPath",
						 "validate_map.map=AssetPath",
						 "create_nav_harness_map.path=AssetPath!",
						 "author_map_settings.path=AssetPath",
						 "load_level.path=AssetPath!",
						 "capture_anim_frames.asset_path=AssetPath!",
						 "capture_anim_frames.skeletal_mesh=AssetPath",
						 "capture_pie_movement_clip.output_path=DiskPath",
						 "capture_anim_frames.output_dir=DiskPath",
					 }));
	EXPECT_EQ(WithDebug, (std::set<std::string>{"set_asset_properties", "set_actor_uproperties", "list_actor_functions",
							 "spawn_post_process_volume", "set_post_process_settings", "set_component_mobility",
							 "capture_waypoints", "save_level"}));

	// The reflective actions say "boolean", the older ones "bool".
	const FTarnwickActionSpec* SetAsset = FindSpec("editor", "set_asset_properties");
	ASSERT_NE(SetAsset, nullptr);
	EXPECT_EQ(SetAsset->Params[2].Type, "boolean");
	EXPECT_EQ(FindSpec("editor", "trigger_build")->Params[0].Type, "bool");
}

TEST_F(CatalogueTest, LiveCompileIsTriggerBuildUnderALegacyName)
{
	int Calls = 0;
	FTarnwickHandlerTable Handlers;
	Handlers.Add("editor", "trigger_build", Counting(&Calls, "trigger_build"));
	RegisterAll(Handlers);

	const FJson Trigger = SchemaOf("editor", "trigger_build");
	EXPECT_EQ(Trigger, SchemaOf("editor", "live_compile"));
	EXPECT_EQ(Trigger, FJson::parse(R"({
		"wait": {"type": "bool", "description": "Block until compile finishes", "required": false, "default": "false"}
	})"));
	EXPECT_EQ(FTarnwickToolRegistry::Get().FindAction("editor", "live_compile")->Description,
		"Trigger a Live Coding compile (alias for trigger_build)");

	auto& Registry = FTarnwickToolRegistry::Get();
	const FTarnwickActionResult A = Registry.ExecuteAction("editor", "trigger_build", MakeJsonObject());
	const FTarnwickActionResult B = Registry.ExecuteAction("editor", "live_compile", MakeJsonObject());
	ASSERT_TRUE(A.bSuccess && B.bSuccess);
	EXPECT_EQ(*A.Result, *B.Result);
	EXPECT_EQ(Calls, 2);

	const auto Pending = Tarnwick::Editor::ListPendingActions(Handlers);
	EXPECT_EQ(std::count(Pending.begin(), Pending.end(), "editor.live_compile"), 0) << "covered by trigger_build";
}

TEST_F(CatalogueTest, RestartIsGatedBySettingsReadAtEveryCall)
{
	struct FRestoreProjectDir
	{
		std::string Saved = FPaths::ProjectDir();
		~FRestoreProjectDir() { FPaths::SetProjectDir(Saved); }
	} Restore;
	FTempDir Project;
	FPaths::SetProjectDir(Project.Str());
	const auto WriteSettings = [&](const char* Body) {
		Project.Write("Config/DefaultTarnwick.ini", std::string("[") + UTarnwickSettings::SectionName + "]\n" + Body);
	};

	int Calls = 0;
	FTarnwickHandlerTable Handlers;
	Handlers.Add("editor", "restart", Counting(&Calls, "restart"));
	RegisterAll(Handlers);
	auto& Registry = FTarnwickToolRegistry::Get();

	// No settings file: restarts are not allowed by default.
	FTarnwickActionResult R = Registry.ExecuteAction("editor", "restart", nullptr);
	EXPECT_FALSE(R.bSuccess);
	EXPECT_EQ(R.ErrorCode, -32603);
	EXPECT_EQ(R.ErrorMessage, "editor.restart disabled by user — enable in Plugin Settings → Brindle → Action Gates.");
	EXPECT_EQ(Calls, 0);

	WriteSettings("bAllowEditorRestart=False\n");
	EXPECT_EQ(Registry.ExecuteAction("editor", "restart", nullptr).ErrorMessage, Tarnwick::Editor::RestartDisabledReason);
	EXPECT_EQ(Calls, 0);

	WriteSettings("bAllowEditorRestart=True\n");
	R = Registry.ExecuteAction("editor", "restart", nullptr);
	EXPECT_TRUE(R.bSuccess);
	EXPECT_EQ(Calls, 1);

	WriteSettings("bAllowEditorRestart=False\n");
	EXPECT_FALSE(Registry.ExecuteAction("editor", "restart", nullptr).bSuccess);
	EXPECT_EQ(Calls, 1);

	// No other action is gated.
	for (const FTarnwickActionInfo& Info : Registry.GetAllActions())
	{
		EXPECT_EQ(static_cast<bool>(Info.EnablePredicate), Info.Action == "restart") << Info.ToolName();
	}
}

TEST_F(CatalogueTest, ActionsWithoutHandlerAnswerNotImplemented)
{
	RegisterAll(FTarnwickHandlerTable());
	auto& Registry = FTarnwickToolRegistry::Get();
	struct FCase
	{
		const char* Namespace;
		const char* Action;
		const char* Message;
	};
	for (const FCase& C : {FCase{"editor", "pause_pie", "editor.pause_pie is not implemented yet"},
			 FCase{"editor", "live_compile", "editor.live_compile is not implemented yet"},
			 FCase{"editor_utility", "run_task", "editor_utility.run_task is not implemented yet"}})
	{
		const FTarnwickActionResult R = Registry.ExecuteAction(C.Namespace, C.Action, nullptr);
		EXPECT_FALSE(R.bSuccess);
		EXPECT_EQ(R.ErrorCode, -32603);
		EXPECT_EQ(R.ErrorMessage, C.Message);
	}
}

TEST_F(CatalogueTest, FamiliesAndAnnotationsReachTheRegistry)
{
	RegisterAll(FTarnwickHandlerTable());
	auto& Registry = FTarnwickToolRegistry::Get();
	const auto Logs = Registry.FindAction("editor", "get_recent_logs");
	ASSERT_TRUE(Logs.has_value());
	EXPECT_EQ(Logs->Family, "logs");
	EXPECT_EQ(Logs->Annotations.ReadOnlyHint, std::optional<bool>(true));

	for (const char* Destructive : {"delete_assets", "restart", "save_packages", "save_level"})
	{
		const auto Info = Registry.FindAction("editor", Destructive);
		EXPECT_EQ(Info->Annotations.DestructiveHint, std::optional<bool>(true)) << Destructive;
		EXPECT_NE(Info->Annotations.ReadOnlyHint, std::optional<bool>(true)) << Destructive;
	}
	for (const char* ReadOnly : {"is_pie_active", "get_viewport_info", "validate_map", "poll_pie_smoke"})
	{
		EXPECT_EQ(Registry.FindAction("editor", ReadOnly)->Annotations.ReadOnlyHint, std::optional<bool>(true)) << ReadOnly;
	}
	EXPECT_EQ(Registry.FindAction("editor", "run_console_command")->Annotations.DestructiveHint, std::optional<bool>(true))
		<< "a console command can do anything";
	for (const FTarnwickActionInfo& Info : Registry.GetActions("editor_utility")) EXPECT_EQ(Info.Family, "utility");
	// Every entry states all four hints, so no client has to assume the worst of a read.
	for (const FTarnwickActionInfo& Info : Registry.GetAllActions())
	{
		EXPECT_TRUE(Info.Annotations.IsComplete()) << Info.ToolName();
		EXPECT_EQ(Info.Annotations.OpenWorldHint, std::optional<bool>(false)) << Info.ToolName();
		if (Info.Annotations.ReadOnlyHint.value_or(false))
		{
			EXPECT_FALSE(Info.Annotations.DestructiveHint.value_or(true)) << Info.ToolName();
		}
	}
}

TEST_F(CatalogueTest, PendingListNamesEveryActionStillWithoutHandler)
{
	FTarnwickHandlerTable Handlers;
	Tarnwick::Editor::AddLogHandlers(Handlers, nullptr);
	Tarnwick::Editor::AddPieHandlers(Handlers);
	Tarnwick::Editor::AddViewportHandlers(Handlers);
	const std::vector<std::string> Expected = {
		"editor.trigger_build",
		"editor.live_compile",
		"editor.get_build_errors",
		"editor.get_build_status",
		"editor.get_build_summary",
		"editor.search_build_output",
		"editor.get_compile_output",
		"editor.get_crash_context",
		"editor.list_dirty_packages",
		"editor.save_packages",
		"editor.run_pie_smoke",
		"editor.validate_map",
		"editor.list_errored_blueprints",
		"editor.poll_pie_smoke",
		"editor.stop_pie_smoke",
		"editor.capture_pie_movement_clip",
		"editor.create_nav_harness_map",
		"editor.author_map_settings",
		"editor.capture_scene_preview",
		"editor.inspect_material_pbr",
		"editor.inspect_texture_channels",
		"editor.capture_material_grid",
		"editor.capture_with_overlay",
		"editor.capture_sequence_frames",
		"editor.capture_anim_frames",
		"editor.import_texture",
		"editor.stitch_flipbook",
		"editor.delete_assets",
		"editor.capture_system_gif",
		"editor.run_console_command",
		"editor.capture_viewport",
		"editor.open_level",
		"editor.save_level",
		"editor.create_level",
		"editor.restart",
		"editor.package_project",
		"editor.cook_content",
		"editor.build_lighting",
		"editor.rebuild_navigation",
		"editor.set_lightmap_settings",
		"editor.undo",
		"editor.redo",
		"editor.list_automation_tests",
		"editor.run_automation_tests",
		"editor.load_level",
		"editor.set_asset_properties",
		"editor.set_actor_uproperties",
		"editor.list_actor_functions",
		"editor.spawn_post_process_volume",
		"editor.set_post_process_settings",
		"editor.set_component_mobility",
		"editor.capture_waypoints",
		"editor_utility.run",
		"editor_utility.run_class",
		"editor_utility.can_run",
		"editor_utility.release_instance",
		"editor_utility.spawn_tab",
		"editor_utility.spawn_tab_with_id",
		"editor_utility.spawn_registered_tab",
		"editor_utility.tab_exists",
		"editor_utility.close_tab",
		"editor_utility.unregister_tab",
		"editor_utility.find_widget_for_blueprint",
		"editor_utility.run_task",
		"editor_utility.cancel_task",
		"editor_utility.list_registered_tabs",
		"editor.create_empty_map",
		"editor.get_module_status",
		"editor.get_stat_group_values",
	};
	EXPECT_EQ(Tarnwick::Editor::ListPendingActions(Handlers), Expected);

	// A pending action is registered all the same, and a handler for a name outside the catalogue changes nothing.
	int Unused = 0;
	Handlers.Add("editor", "not_in_catalogue", Counting(&Unused, "x"));
	EXPECT_EQ(Tarnwick::Editor::ListPendingActions(Handlers).size(), Expected.size());
}

TEST_F(CatalogueTest, ToolsDocListsEveryActionUnderItsFamily)
{
	std::ifstream File(std::string(TARNWICK_SOURCE_DIR) + "/docs/tools.md");
	ASSERT_TRUE(File.good()) << "docs/tools.md is missing";
	std::stringstream Buffer;
	Buffer << File.rdbuf();
	const std::string Doc = Buffer.str();

	for (const FTarnwickActionSpec& Spec : GetFullActionCatalogue())
	{
		SCOPED_TRACE(Spec.QualifiedName());
		const std::string Heading = "\n## " + Spec.Namespace + "." + Spec.Family + "\n";
		const size_t Section = Doc.find(Heading);
		ASSERT_NE(Section, std::string::npos) << "no section" << Heading;
		const size_t SectionEnd = Doc.find("\n## ", Section + 1);
		const size_t Row = Doc.find("\n| `" + Spec.Namespace + "_" + Spec.Action + "` |", Section);
		EXPECT_TRUE(Row != std::string::npos && Row < SectionEnd) << "not listed under" << Heading;
	}
}
