#include "PieSmoke/ScheduleGrammar.h"

#include "PieSmoke/SmokeParamReaders.h"
#include "Printf.h"

#include <cmath>

namespace Tarnwick::PieSmoke
{
namespace
{
bool ParseKind(const std::string& Text, EInputEventKind& OutKind)
{
	static const std::pair<const char*, EInputEventKind> Kinds[] = {{"down", EInputEventKind::Down}, {"up", EInputEventKind::Up},
		{"press", EInputEventKind::Press}, {"mouse_move", EInputEventKind::MouseMove}, {"click", EInputEventKind::Click}};
	for (const auto& [Name, Kind] : Kinds)
	{
		if (EqualsIgnoreCase(Text, Name))
		{
			OutKind = Kind;
			return true;
		}
	}
	return false;
}

bool IsKeyEvent(EInputEventKind Kind)
{
	return Kind == EInputEventKind::Down || Kind == EInputEventKind::Up || Kind == EInputEventKind::Press;
}

/** The first field of Entry that the event's receiving action does not take, or nullptr. */
const char* UnusableField(const FJson& Entry, EInputEventKind Kind)
{
	auto Has = [&](const char* Key) { return FindValue(Entry, Key) != nullptr; };
	if (IsKeyEvent(Kind))
	{
		for (const char* Key : {"x", "y", "button"})
		{
			if (Has(Key)) return Key;
		}
		if (Kind != EInputEventKind::Press && Has("hold_ms")) return "hold_ms";
		return nullptr;
	}
	for (const char* Key : {"key", "hold_ms"})
	{
		if (Has(Key)) return Key;
	}
	if (Kind == EInputEventKind::MouseMove && Has("button")) return "button";
	return nullptr;
}

FScriptBlock ReadScript(const FJson& Entry)
{
	FScriptBlock Script;
	Script.Python = ReadString(Entry, "python");
	Script.Console = ReadStringArray(Entry, "console");
	return Script;
}

bool ReadVector(const FJson& Value, FVector& Out)
{
	if (!Value.is_array() || Value.size() < 3) return false;
	for (size_t I = 0; I < 3; ++I)
	{
		if (!Value[I].is_number()) return false;
	}
	Out = FVector(Value[0].get<double>(), Value[1].get<double>(), Value[2].get<double>());
	return true;
}
}

bool ParseInputEvents(const FJson& Params, double Duration, std::vector<FInputEvent>& OutEvents, std::string& OutRefusal)
{
	OutEvents.clear();
	const FJson* Events = FindValue(Params, "input_events");
	if (!Events || !Events->is_array()) return true;
	for (size_t Index = 0; Index < Events->size(); ++Index)
	{
		const int I = static_cast<int>(Index);
		const FJson& Entry = (*Events)[Index];
		if (!Entry.is_object())
		{
			OutRefusal = Tarnwick::Printf("input_events[%d] is not an object", I);
			return false;
		}
		FInputEvent Event;
		if (const FJson* Name = FindValue(Entry, "event"))
		{
			const std::string Text = DescribeJson(*Name);
			if (!Name->is_string() || !ParseKind(Text, Event.Kind))
			{
				OutRefusal = Tarnwick::Printf("input_events[%d]: unknown event '%s' — valid: down, up, press, mouse_move, click", I, Text.c_str());
				return false;
			}
		}
		const std::optional<double> X = ReadNumber(Entry, "x");
		const std::optional<double> Y = ReadNumber(Entry, "y");
		Event.bHasPosition = X && Y;
		Event.X = X.value_or(0.0);
		Event.Y = Y.value_or(0.0);
		Event.Key = ReadString(Entry, "key");
		if (!IsKeyEvent(Event.Kind) && !Event.bHasPosition)
		{
			OutRefusal = Tarnwick::Printf("input_events[%d]: event '%s' requires viewport-local x and y", I, LexToString(Event.Kind));
			return false;
		}
		if (IsKeyEvent(Event.Kind) && Event.Key.empty())
		{
			OutRefusal = Tarnwick::Printf("input_events[%d]: event '%s' requires 'key' (an EKeys name, e.g. 'W', 'SpaceBar')", I,
				LexToString(Event.Kind));
			return false;
		}
		Event.AtSeconds = std::max(0.0, ReadNumber(Entry, "at_seconds", 0.0));
		if (Event.AtSeconds > Duration)
		{
			OutRefusal = Tarnwick::Printf("input_events[%d]: at_seconds=%g is beyond the session duration=%g — it would never fire", I,
				Event.AtSeconds, Duration);
			return false;
		}
		if (const char* Field = UnusableField(Entry, Event.Kind))
		{
			OutRefusal = Tarnwick::Printf("input_events[%d]: event '%s' does not take '%s' — it would be ignored", I, LexToString(Event.Kind), Field);
			return false;
		}
		Event.Button = ReadString(Entry, "button");
		// Below one millisecond there is no hold at all; above the cap the game thread would stall too long.
		const double Hold = ReadNumber(Entry, "hold_ms", 0.0);
		Event.HoldMs = Hold < 1.0 ? 0 : static_cast<int32>(std::trunc(std::min(Hold, static_cast<double>(MaxHoldMs))));
		Event.Modifiers = ReadStringArray(Entry, "modifiers");
		OutEvents.push_back(std::move(Event));
	}
	return true;
}

std::vector<FProbe> ParseProbes(const FJson& Params)
{
	std::vector<FProbe> Probes;
	const FJson* Given = FindValue(Params, "probe_scripts");
	if (!Given || !Given->is_array()) return Probes;
	for (const FJson& Entry : *Given)
	{
		if (!Entry.is_object()) continue;
		FProbe Probe;
		Probe.Script = ReadScript(Entry);
		if (!Probe.Script.HasWork()) continue;
		Probe.AtSeconds = std::max(0.0, ReadNumber(Entry, "at_seconds", 0.0));
		Probes.push_back(std::move(Probe));
	}
	return Probes;
}

FStages ParseStages(const FJson& Params)
{
	FStages Stages;
	const FJson* Given = FindValue(Params, "stages");
	if (!Given || !Given->is_object()) return Stages;
	auto Read = [&](const char* Name, FStage& Stage) {
		const FJson* Entry = FindValue(*Given, Name);
		if (!Entry || !Entry->is_object()) return;
		Stage.Script = ReadScript(*Entry);
		Stage.bPresent = Stage.Script.HasWork();
	};
	Read("pre_pie", Stages.PrePie);
	Read("on_begin_play", Stages.OnBeginPlay);
	Read("after_n_ticks", Stages.AfterNTicks);
	Read("before_capture", Stages.BeforeCapture);
	if (const FJson* After = FindValue(*Given, "after_n_ticks"))
	{
		Stages.AfterNTicks.N = ReadClampedInt(*After, "n", 1, 1, INT32_MAX);
	}
	return Stages;
}

std::vector<FActorSetupEntry> ParseActorSetup(const FJson& Params)
{
	std::vector<FActorSetupEntry> Entries;
	const FJson* Given = FindValue(Params, "actor_setup");
	if (!Given || !Given->is_array()) return Entries;
	for (const FJson& Item : *Given)
	{
		if (!Item.is_object()) continue;
		FActorSetupEntry Entry;
		Entry.ClassPath = ReadString(Item, "class");
		if (Entry.ClassPath.empty()) continue;
		Entry.Count = ReadClampedInt(Item, "count", 1, 1, MaxActorSetupCount);
		if (const FJson* Locations = FindValue(Item, "locations"); Locations && Locations->is_array())
		{
			for (const FJson& Location : *Locations)
			{
				FVector V;
				if (ReadVector(Location, V)) Entry.Locations.push_back(V);
			}
		}
		Entry.ApplyDataAsset = ReadString(Item, "apply_data_asset");
		if (const FJson* MoveTo = FindValue(Item, "move_to")) Entry.bHasMoveTo = ReadVector(*MoveTo, Entry.MoveTo);
		Entries.push_back(std::move(Entry));
	}
	return Entries;
}
}
