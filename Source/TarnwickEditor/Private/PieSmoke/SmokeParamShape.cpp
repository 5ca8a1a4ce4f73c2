#include "PieSmoke/SmokeParamShape.h"

#include "PieSmoke/SmokeParamReaders.h"
#include "Printf.h"

#include <algorithm>
#include <string_view>

namespace Tarnwick::PieSmoke
{
namespace
{
enum class EShape : uint8
{
	Any,
	String,
	Number,
	Bool,
	Array,
	Object,
	StringArray,
	Vector3,
};

struct FKeyShape
{
	std::string_view Key;
	EShape Shape;
};

constexpr FKeyShape TopLevelShapes[] = {
	{"map", EShape::String}, {"marker", EShape::String}, {"duration", EShape::Number}, {"sample_vars", EShape::Array},
	{"pawn_class", EShape::String}, {"console_script", EShape::StringArray}, {"python_script", EShape::String},
	{"log_patterns", EShape::Any}, {"ignore_after_pattern", EShape::String}, {"teardown_allowed", EShape::Bool},
	{"probe_scripts", EShape::Array}, {"input_events", EShape::Array}, {"stages", EShape::Object},
	{"on_compile_errors", EShape::String}, {"actor_setup", EShape::Array}, {"csv_profile", EShape::Bool},
	{"trace_channels", EShape::StringArray}, {"sample_spec", EShape::Array}, {"sample_interval", EShape::Number},
	{"dispatch_interval", EShape::Number}, {"expect", EShape::Array}, {"max_samples", EShape::Number},
	{"resolve_grace_seconds", EShape::Number}, {"strict_specs", EShape::Bool}, {"fail_fast", EShape::Bool},
	{"clock", EShape::String}, {"settle", EShape::Bool}, {"settle_timeout", EShape::Number},
	{"max_wall_seconds", EShape::Number}, {"time_dilation", EShape::Number}, {"unthrottle", EShape::Bool},
	{"require_stable", EShape::Bool}, {"capture_interval", EShape::Number}, {"output_path", EShape::String},
	{"view_target_actor", EShape::String}, {"discard_first_frames", EShape::Number},
	{"expected_anim_class", EShape::String},
};

constexpr FKeyShape InputEventShapes[] = {
	{"at_seconds", EShape::Number}, {"event", EShape::Any}, {"key", EShape::String}, {"button", EShape::String},
	{"x", EShape::Number}, {"y", EShape::Number}, {"hold_ms", EShape::Number}, {"modifiers", EShape::StringArray},
};
constexpr FKeyShape ProbeShapes[] = {{"at_seconds", EShape::Number}, {"python", EShape::String}, {"console", EShape::StringArray}};
constexpr FKeyShape StageShapes[] = {{"python", EShape::String}, {"console", EShape::StringArray}};
constexpr FKeyShape AfterNTicksShapes[] = {{"python", EShape::String}, {"console", EShape::StringArray}, {"n", EShape::Number}};
constexpr FKeyShape ActorSetupShapes[] = {{"class", EShape::String}, {"count", EShape::Number}, {"locations", EShape::Array},
	{"apply_data_asset", EShape::String}, {"move_to", EShape::Vector3}};
constexpr std::string_view StageNames[] = {"pre_pie", "on_begin_play", "after_n_ticks", "before_capture"};

const char* ShapeName(EShape Shape)
{
	switch (Shape)
	{
	case EShape::String: return "a string";
	case EShape::Number: return "a number";
	case EShape::Bool: return "true or false";
	case EShape::Array: return "an array";
	case EShape::Object: return "an object";
	case EShape::StringArray: return "an array of strings";
	case EShape::Vector3: return "an array of three numbers [x, y, z]";
	default: return "any value";
	}
}

const char* JsonTypeName(const FJson& Value)
{
	if (Value.is_string()) return "a string";
	if (Value.is_boolean()) return "a boolean";
	if (Value.is_number()) return "a number";
	if (Value.is_array()) return "an array";
	if (Value.is_object()) return "an object";
	return "null";
}

bool Fits(const FJson& Value, EShape Shape)
{
	switch (Shape)
	{
	case EShape::Any: return true;
	case EShape::String: return Value.is_string();
	case EShape::Number: return Value.is_number();
	case EShape::Bool: return Value.is_boolean();
	case EShape::Array: return Value.is_array();
	case EShape::Object: return Value.is_object();
	case EShape::StringArray:
		return Value.is_array() && std::all_of(Value.begin(), Value.end(), [](const FJson& E) { return E.is_string(); });
	case EShape::Vector3:
		return Value.is_array() && Value.size() == 3 && std::all_of(Value.begin(), Value.end(), [](const FJson& E) { return E.is_number(); });
	}
	return false;
}

template <size_t N>
const FKeyShape* FindShape(const FKeyShape (&Table)[N], std::string_view Key)
{
	for (const FKeyShape& Entry : Table)
	{
		if (Entry.Key == Key) return &Entry;
	}
	return nullptr;
}

template <size_t N>
std::string KeyList(const FKeyShape (&Table)[N])
{
	std::string Out;
	for (const FKeyShape& Entry : Table)
	{
		if (!Out.empty()) Out += ", ";
		Out += Entry.Key;
	}
	return Out;
}

/** The entry's keys against Table; Where names the entry in the message ("input_events[2]"). */
template <size_t N>
std::optional<std::string> CheckEntry(const FJson& Entry, const FKeyShape (&Table)[N], const std::string& Where)
{
	for (auto It = Entry.begin(); It != Entry.end(); ++It)
	{
		if (It->is_null()) continue;
		const FKeyShape* Shape = FindShape(Table, It.key());
		if (!Shape)
		{
			return Tarnwick::Printf("%s: unknown key '%s' — it takes %s", Where.c_str(), It.key().c_str(), KeyList(Table).c_str());
		}
		if (!Fits(*It, Shape->Shape))
		{
			return Tarnwick::Printf("%s: '%s' must be %s, got %s (%s)", Where.c_str(), It.key().c_str(), ShapeName(Shape->Shape),
				JsonTypeName(*It), DescribeJson(*It).c_str());
		}
	}
	return std::nullopt;
}

std::optional<std::string> CheckStages(const FJson& Stages)
{
	for (auto It = Stages.begin(); It != Stages.end(); ++It)
	{
		if (It->is_null()) continue;
		const std::string& Name = It.key();
		if (std::find(std::begin(StageNames), std::end(StageNames), Name) == std::end(StageNames))
		{
			return Tarnwick::Printf("stages: unknown stage '%s' — valid: pre_pie, on_begin_play, after_n_ticks, before_capture", Name.c_str());
		}
		const std::string Where = "stages." + Name;
		if (!It->is_object()) return Tarnwick::Printf("%s must be an object {python, console}, got %s", Where.c_str(), JsonTypeName(*It));
		auto Error = Name == "after_n_ticks" ? CheckEntry(*It, AfterNTicksShapes, Where) : CheckEntry(*It, StageShapes, Where);
		if (Error) return Error;
	}
	return std::nullopt;
}

template <size_t N>
std::optional<std::string> CheckObjectEntries(const FJson& Array, const char* Key, const FKeyShape (&Table)[N], bool bRequireObjects)
{
	for (size_t I = 0; I < Array.size(); ++I)
	{
		const std::string Where = Tarnwick::Printf("%s[%d]", Key, static_cast<int>(I));
		if (!Array[I].is_object())
		{
			if (!bRequireObjects) continue;
			return Tarnwick::Printf("%s is not an object", Where.c_str());
		}
		if (auto Error = CheckEntry(Array[I], Table, Where)) return Error;
	}
	return std::nullopt;
}
}

std::vector<std::string> AcceptedKeys(ESmokeAction Action, const std::vector<std::string>& DocumentedParams)
{
	std::vector<std::string> Keys = DocumentedParams;
	if (Action == ESmokeAction::RunPieSmoke)
	{
		for (const char* Extra : {"view_target_actor", "discard_first_frames", "expected_anim_class"})
		{
			if (std::find(Keys.begin(), Keys.end(), Extra) == Keys.end()) Keys.emplace_back(Extra);
		}
	}
	return Keys;
}

std::optional<std::string> CheckSmokeParamShapes(const FJson& Params, ESmokeAction Action, const std::vector<std::string>& Accepted)
{
	if (!Params.is_object()) return std::nullopt;
	const char* Name = ActionName(Action);
	for (auto It = Params.begin(); It != Params.end(); ++It)
	{
		const std::string& Key = It.key();
		// The core adds the caller's session id to every call.
		if (Key == "_tarnwick_session_id" || It->is_null()) continue;
		if (std::find(Accepted.begin(), Accepted.end(), Key) == Accepted.end())
		{
			if (Action == ESmokeAction::RunPieSmoke && (Key == "capture_interval" || Key == "output_path"))
			{
				return Tarnwick::Printf("run_pie_smoke does not capture frames, so it has no '%s' — use capture_pie_movement_clip for a "
										"clip. Nothing was started.", Key.c_str());
			}
			if (Action == ESmokeAction::CaptureClip && Key == "on_compile_errors")
			{
				return std::string("capture_pie_movement_clip has no 'on_compile_errors': it never suppresses the compile-error "
								   "dialog — fix the Blueprints, or use run_pie_smoke with on_compile_errors=\"suppress\". Nothing was started.");
			}
			return Tarnwick::Printf("%s has no parameter '%s' — its parameters are listed in its input schema. Nothing was started.", Name,
				Key.c_str());
		}
		const FKeyShape* Shape = FindShape(TopLevelShapes, Key);
		if (Shape && !Fits(*It, Shape->Shape))
		{
			return Tarnwick::Printf("%s: '%s' must be %s, got %s (%s). Nothing was started.", Name, Key.c_str(), ShapeName(Shape->Shape),
				JsonTypeName(*It), DescribeJson(*It).c_str());
		}
	}
	if (const FJson* Events = FindValue(Params, "input_events"))
	{
		// An input event that is not an object is the grammar's own refusal.
		if (auto Error = CheckObjectEntries(*Events, "input_events", InputEventShapes, false)) return Error;
	}
	if (const FJson* Probes = FindValue(Params, "probe_scripts"))
	{
		if (auto Error = CheckObjectEntries(*Probes, "probe_scripts", ProbeShapes, true)) return Error;
	}
	if (const FJson* Setup = FindValue(Params, "actor_setup"))
	{
		if (auto Error = CheckObjectEntries(*Setup, "actor_setup", ActorSetupShapes, true)) return Error;
	}
	if (const FJson* Stages = FindValue(Params, "stages"))
	{
		if (auto Error = CheckStages(*Stages)) return Error;
	}
	return std::nullopt;
}
}
