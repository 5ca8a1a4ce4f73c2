#include "SimEventGraph.h"

#include "Printf.h"

#include <cmath>
#include <initializer_list>

namespace Tarnwick::Sim
{
namespace
{
const ESimGraphEvent AllEvents[] = {ESimGraphEvent::BeginPlay, ESimGraphEvent::Delay, ESimGraphEvent::Timer, ESimGraphEvent::OnReached};
const ESimGraphAction AllActions[] = {ESimGraphAction::Log, ESimGraphAction::SetProperty, ESimGraphAction::SpawnActor,
	ESimGraphAction::DestroyActor, ESimGraphAction::AIMoveTo, ESimGraphAction::ApplyGameplayEffect, ESimGraphAction::SetBlackboardValue,
	ESimGraphAction::RuntimeError};

/** Reads the fields of one entry, stopping at the first problem. */
class FReader
{
public:
	FReader(const FSimJson& InJson, std::string InWhere) : Json(InJson), Where(std::move(InWhere)) {}

	bool Keys(std::initializer_list<const char*> Allowed)
	{
		for (auto It = Json.begin(); It != Json.end(); ++It)
		{
			bool bKnown = false;
			for (const char* K : Allowed) bKnown = bKnown || It.key() == K;
			if (!bKnown) return Fail(Tarnwick::Printf("unknown key \"%s\"", It.key().c_str()));
		}
		return true;
	}
	bool String(const char* Key, std::string& Out, bool bRequired)
	{
		const auto It = Json.find(Key);
		if (It == Json.end()) return bRequired ? Fail(Tarnwick::Printf("\"%s\" is missing", Key)) : true;
		if (!It->is_string() || It->get<std::string>().empty()) return Fail(Tarnwick::Printf("\"%s\" must be a non-empty string", Key));
		Out = It->get<std::string>();
		return true;
	}
	bool Number(const char* Key, double& Out, bool bRequired, bool bPositive)
	{
		const auto It = Json.find(Key);
		if (It == Json.end()) return bRequired ? Fail(Tarnwick::Printf("\"%s\" is missing", Key)) : true;
		if (!It->is_number() || !std::isfinite(It->get<double>()) || (bPositive && It->get<double>() <= 0.0))
		{
			return Fail(Tarnwick::Printf(bPositive ? "\"%s\" must be a number above 0" : "\"%s\" must be a number", Key));
		}
		Out = It->get<double>();
		return true;
	}
	bool Triple(const char* Key, double Out[3], bool& bPresent)
	{
		const auto It = Json.find(Key);
		bPresent = It != Json.end();
		if (!bPresent) return true;
		bool bOk = It->is_array() && It->size() == 3;
		for (size_t I = 0; bOk && I < 3; ++I)
		{
			bOk = (*It)[I].is_number() && std::isfinite((*It)[I].get<double>());
			if (bOk) Out[I] = (*It)[I].get<double>();
		}
		return bOk ? true : Fail(Tarnwick::Printf("\"%s\" must be an array of 3 numbers", Key));
	}
	bool Any(const char* Key, FSimJson& Out)
	{
		const auto It = Json.find(Key);
		if (It == Json.end()) return Fail(Tarnwick::Printf("\"%s\" is missing", Key));
		Out = *It;
		return true;
	}
	bool Fail(const std::string& What)
	{
		Error = Where + What;
		return false;
	}

	const FSimJson& Json;
	std::string Where;
	std::string Error;
};

template <typename T, size_t N>
std::string ExpectedList(const T (&All)[N])
{
	std::string Out;
	for (size_t I = 0; I < N; ++I) Out += std::string(I == 0 ? "" : (I + 1 == N ? " or " : ", ")) + LexToString(All[I]);
	return Out;
}

bool ParseEffect(FReader& R, FSimGameplayEffectSpec& Out)
{
	std::string Attribute;
	if (!R.String("Attribute", Attribute, true)) return false;
	if (!FGameplayAttribute::Parse(Attribute, Out.Attribute))
	{
		return R.Fail(Tarnwick::Printf("\"Attribute\" must be <AttributeSet>.<Attribute>, such as \"USet.Health\", not \"%s\"", Attribute.c_str()));
	}
	std::string Op = "Add";
	if (!R.String("Operation", Op, false)) return false;
	if (Op == "Add") Out.Op = ESimEffectOp::Add;
	else if (Op == "Multiply") Out.Op = ESimEffectOp::Multiply;
	else if (Op == "Override") Out.Op = ESimEffectOp::Override;
	else return R.Fail(Tarnwick::Printf("unknown \"Operation\" \"%s\" (expected Add, Multiply or Override)", Op.c_str()));
	if (!R.Number("Magnitude", Out.Magnitude, true, false)) return false;
	const auto Duration = R.Json.find("Duration");
	if (Duration == R.Json.end() || (Duration->is_string() && Duration->get<std::string>() == "Instant"))
	{
		Out.Duration = ESimEffectDuration::Instant;
	}
	else if (Duration->is_string() && Duration->get<std::string>() == "Infinite")
	{
		Out.Duration = ESimEffectDuration::Infinite;
	}
	else if (Duration->is_number() && std::isfinite(Duration->get<double>()) && Duration->get<double>() > 0.0)
	{
		Out.Duration = ESimEffectDuration::HasDuration;
		Out.DurationSeconds = Duration->get<double>();
	}
	else
	{
		return R.Fail("\"Duration\" must be \"Instant\", \"Infinite\" or a number of seconds above 0");
	}
	if (!R.Number("Period", Out.Period, false, true)) return false;
	if (Out.Period > 0.0 && Out.Duration == ESimEffectDuration::Instant)
	{
		return R.Fail("\"Period\" needs a \"Duration\" (a number of seconds or \"Infinite\"): an instant effect happens once");
	}
	return true;
}

bool ParseAction(const FSimJson& Json, const std::string& Where, FSimGraphAction& Out, std::string& OutError)
{
	if (!Json.is_object())
	{
		OutError = Where + "must be an object";
		return false;
	}
	std::string Name;
	FReader Head(Json, Where);
	if (!Head.String("Action", Name, true))
	{
		OutError = Head.Error;
		return false;
	}
	bool bKnown = false;
	for (ESimGraphAction A : AllActions)
	{
		if (Name == LexToString(A))
		{
			Out.Kind = A;
			bKnown = true;
		}
	}
	if (!bKnown)
	{
		OutError = Where + Tarnwick::Printf("unknown action \"%s\" (expected %s)", Name.c_str(), ExpectedList(AllActions).c_str());
		return false;
	}
	FReader R(Json, Where.substr(0, Where.size() - 2) + " (" + Name + "): ");
	bool bOk = true;
	double L[3] = {0, 0, 0};
	bool bPresent = false;
	switch (Out.Kind)
	{
	case ESimGraphAction::Log:
	{
		std::string Verbosity = "Log";
		bOk = R.Keys({"Action", "Delay", "Category", "Verbosity", "Text"}) && R.String("Category", Out.Category, true) &&
			R.String("Verbosity", Verbosity, false) && R.String("Text", Out.Text, true);
		if (bOk && (!Tarnwick::Host::ParseLogVerbosity(Verbosity, Out.Verbosity) || Out.Verbosity == ELogVerbosity::Fatal ||
					   Out.Verbosity == ELogVerbosity::NoLogging))
		{
			bOk = R.Fail(Tarnwick::Printf("unknown \"Verbosity\" \"%s\" (expected Error, Warning, Display, Log, Verbose or VeryVerbose)", Verbosity.c_str()));
		}
		break;
	}
	case ESimGraphAction::SetProperty:
		bOk = R.Keys({"Action", "Delay", "Target", "Component", "Property", "Value"}) && R.String("Target", Out.Target, false) &&
			R.String("Component", Out.Component, false) && R.String("Property", Out.Property, true) && R.Any("Value", Out.Value);
		break;
	case ESimGraphAction::SpawnActor:
	{
		double Rot[3] = {0, 0, 0};
		bool bRot = false;
		bOk = R.Keys({"Action", "Delay", "Class", "Location", "Rotation", "Name", "Label", "Folder"}) && R.String("Class", Out.ClassPath, true) &&
			R.Triple("Location", L, Out.bHasLocation) && R.Triple("Rotation", Rot, bRot) && R.String("Name", Out.Name, false) &&
			R.String("Label", Out.Label, false) && R.String("Folder", Out.Folder, false);
		Out.Location = FVector(L[0], L[1], L[2]);
		Out.Rotation = FRotator(Rot[0], Rot[1], Rot[2]);
		break;
	}
	case ESimGraphAction::DestroyActor:
		bOk = R.Keys({"Action", "Delay", "Target"}) && R.String("Target", Out.Target, false);
		break;
	case ESimGraphAction::AIMoveTo:
		bOk = R.Keys({"Action", "Delay", "Target", "Location", "Actor", "AcceptanceRadius"}) && R.String("Target", Out.Target, false) &&
			R.Triple("Location", L, Out.bHasLocation) && R.String("Actor", Out.GoalActor, false) &&
			R.Number("AcceptanceRadius", Out.AcceptanceRadius, false, false);
		Out.Location = FVector(L[0], L[1], L[2]);
		if (bOk && Out.bHasLocation == !Out.GoalActor.empty()) bOk = R.Fail("give either \"Location\" or \"Actor\" as the goal");
		break;
	case ESimGraphAction::ApplyGameplayEffect:
		bOk = R.Keys({"Action", "Delay", "Target", "Attribute", "Operation", "Magnitude", "Duration", "Period"}) && R.String("Target", Out.Target, false) &&
			ParseEffect(R, Out.Effect);
		break;
	case ESimGraphAction::SetBlackboardValue:
		bOk = R.Keys({"Action", "Delay", "Target", "Key", "Value"}) && R.String("Target", Out.Target, false) && R.String("Key", Out.Key, true) &&
			R.Any("Value", Out.Value);
		break;
	case ESimGraphAction::RuntimeError:
		bOk = R.Keys({"Action", "Delay", "Property", "Node"}) && R.String("Property", Out.Property, true) && R.String("Node", Out.Node, false);
		if (bOk && Out.Node.empty()) Out.Node = "Get " + Out.Property;
		break;
	}
	(void)bPresent;
	if (bOk) bOk = R.Number("Delay", Out.Delay, false, true);
	if (!bOk) OutError = R.Error;
	return bOk;
}
}

const char* LexToString(ESimGraphEvent Event)
{
	switch (Event)
	{
	case ESimGraphEvent::BeginPlay: return "BeginPlay";
	case ESimGraphEvent::Delay: return "Delay";
	case ESimGraphEvent::Timer: return "Timer";
	case ESimGraphEvent::OnReached: return "OnReached";
	}
	return "BeginPlay";
}

const char* LexToString(ESimGraphAction Action)
{
	switch (Action)
	{
	case ESimGraphAction::Log: return "Log";
	case ESimGraphAction::SetProperty: return "SetProperty";
	case ESimGraphAction::SpawnActor: return "SpawnActor";
	case ESimGraphAction::DestroyActor: return "DestroyActor";
	case ESimGraphAction::AIMoveTo: return "AIMoveTo";
	case ESimGraphAction::ApplyGameplayEffect: return "ApplyGameplayEffect";
	case ESimGraphAction::SetBlackboardValue: return "SetBlackboardValue";
	case ESimGraphAction::RuntimeError: return "RuntimeError";
	}
	return "Log";
}

std::optional<FSimEventGraph> ParseEventGraph(const FSimJson& Json, std::string* OutError)
{
	auto Fail = [&](std::string Why) -> std::optional<FSimEventGraph> {
		if (OutError) *OutError = std::move(Why);
		return std::nullopt;
	};
	if (!Json.is_array()) return Fail("\"EventGraph\" must be an array of events");
	FSimEventGraph Graph;
	for (size_t I = 0; I < Json.size(); ++I)
	{
		const FSimJson& Entry = Json[I];
		std::string Where = Tarnwick::Printf("EventGraph[%d]: ", static_cast<int>(I));
		if (!Entry.is_object()) return Fail(Where + "must be an object");
		FSimGraphEvent Event;
		std::string Name;
		FReader Head(Entry, Where);
		if (!Head.String("Event", Name, true)) return Fail(Head.Error);
		bool bKnown = false;
		for (ESimGraphEvent E : AllEvents)
		{
			if (Name == LexToString(E))
			{
				Event.Kind = E;
				bKnown = true;
			}
		}
		if (!bKnown) return Fail(Where + Tarnwick::Printf("unknown event \"%s\" (expected %s)", Name.c_str(), ExpectedList(AllEvents).c_str()));
		FReader R(Entry, Tarnwick::Printf("EventGraph[%d] (%s): ", static_cast<int>(I), Name.c_str()));
		bool bOk = true;
		switch (Event.Kind)
		{
		case ESimGraphEvent::BeginPlay: bOk = R.Keys({"Event", "Actions"}); break;
		case ESimGraphEvent::Delay:
		case ESimGraphEvent::Timer: bOk = R.Keys({"Event", "Seconds", "Actions"}) && R.Number("Seconds", Event.Seconds, true, true); break;
		case ESimGraphEvent::OnReached:
		{
			double L[3] = {0, 0, 0};
			bOk = R.Keys({"Event", "Location", "Actor", "Radius", "Who", "Actions"}) && R.Triple("Location", L, Event.bHasLocation) &&
				R.String("Actor", Event.Actor, false) && R.Number("Radius", Event.Radius, false, true) && R.String("Who", Event.Who, false);
			Event.Location = FVector(L[0], L[1], L[2]);
			if (bOk && Event.bHasLocation == !Event.Actor.empty()) bOk = R.Fail("give either \"Location\" or \"Actor\" to reach");
			break;
		}
		}
		if (!bOk) return Fail(R.Error);
		const auto Actions = Entry.find("Actions");
		if (Actions == Entry.end() || !Actions->is_array() || Actions->empty())
		{
			return Fail(R.Where + "\"Actions\" must be a non-empty array");
		}
		for (size_t J = 0; J < Actions->size(); ++J)
		{
			FSimGraphAction Action;
			std::string Error;
			if (!ParseAction((*Actions)[J], Tarnwick::Printf("EventGraph[%d].Actions[%d]: ", static_cast<int>(I), static_cast<int>(J)), Action, Error))
			{
				return Fail(Error);
			}
			Event.Actions.push_back(std::move(Action));
		}
		Graph.Events.push_back(std::move(Event));
	}
	return Graph;
}
}
