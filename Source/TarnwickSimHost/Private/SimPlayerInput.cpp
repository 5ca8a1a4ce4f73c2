#include "SimPlayerInput.h"

#include "Printf.h"

#include <cctype>
#include <cstdlib>

namespace Tarnwick::Sim
{
namespace
{
std::string Trim(const std::string& S)
{
	const size_t B = S.find_first_not_of(" \t");
	if (B == std::string::npos) return std::string();
	return S.substr(B, S.find_last_not_of(" \t") - B + 1);
}

bool EqualsNoCase(const std::string& A, const char* B)
{
	size_t I = 0;
	for (; I < A.size() && B[I]; ++I)
	{
		if (std::tolower(static_cast<unsigned char>(A[I])) != std::tolower(static_cast<unsigned char>(B[I]))) return false;
	}
	return I == A.size() && !B[I];
}

const std::string* Find(const std::vector<std::pair<std::string, std::string>>& Fields, const char* Name)
{
	for (const auto& [K, V] : Fields)
	{
		if (EqualsNoCase(K, Name)) return &V;
	}
	return nullptr;
}

bool ParseBool(const std::string& Text, bool& Out)
{
	if (EqualsNoCase(Text, "true")) Out = true;
	else if (EqualsNoCase(Text, "false")) Out = false;
	else return false;
	return true;
}

bool ParseNumber(const std::string& Text, double& Out)
{
	if (Text.empty()) return false;
	char* End = nullptr;
	Out = std::strtod(Text.c_str(), &End);
	return End && *End == '\0';
}
}

bool ParseIniStruct(const std::string& Text, std::vector<std::pair<std::string, std::string>>& Out, std::string* OutError)
{
	auto Fail = [&](const char* Why) {
		if (OutError) *OutError = Why;
		return false;
	};
	const std::string T = Trim(Text);
	if (T.size() < 2 || T.front() != '(' || T.back() != ')') return Fail("expected a parenthesised list such as (Name=Value,...)");
	Out.clear();
	std::string Body = T.substr(1, T.size() - 2);
	size_t Pos = 0;
	while (Pos < Body.size())
	{
		// One Name=Value; a quoted value may hold commas.
		const size_t Eq = Body.find('=', Pos);
		if (Eq == std::string::npos) return Fail("expected Name=Value");
		std::string Name = Trim(Body.substr(Pos, Eq - Pos));
		if (Name.empty()) return Fail("a field has no name");
		size_t V = Eq + 1;
		while (V < Body.size() && Body[V] == ' ') ++V;
		std::string Value;
		if (V < Body.size() && Body[V] == '"')
		{
			const size_t Close = Body.find('"', V + 1);
			if (Close == std::string::npos) return Fail("a quoted value is not closed");
			Value = Body.substr(V + 1, Close - V - 1);
			Pos = Close + 1;
			while (Pos < Body.size() && Body[Pos] == ' ') ++Pos;
			if (Pos < Body.size() && Body[Pos] != ',') return Fail("expected ',' after a quoted value");
		}
		else
		{
			const size_t Comma = Body.find(',', V);
			Value = Trim(Body.substr(V, Comma == std::string::npos ? std::string::npos : Comma - V));
			Pos = Comma == std::string::npos ? Body.size() : Comma;
		}
		if (Pos < Body.size()) ++Pos; // the comma
		Out.emplace_back(std::move(Name), std::move(Value));
	}
	return true;
}

FSimInputSettings ParseInputSettings(const FIniFile& Ini, std::vector<std::string>* OutProblems)
{
	FSimInputSettings Out;
	auto Problem = [&](std::string What) {
		if (OutProblems) OutProblems->push_back(std::move(What));
	};
	const std::vector<std::string> Axes = Ini.GetArray(InputSettingsSection, "AxisMappings");
	for (size_t I = 0; I < Axes.size(); ++I)
	{
		const std::string Where = Tarnwick::Printf("AxisMappings[%d]: ", static_cast<int>(I));
		std::vector<std::pair<std::string, std::string>> Fields;
		std::string Error;
		if (!ParseIniStruct(Axes[I], Fields, &Error))
		{
			Problem(Where + Error);
			continue;
		}
		const std::string* Name = Find(Fields, "AxisName");
		const std::string* KeyName = Find(Fields, "Key");
		const std::string* Scale = Find(Fields, "Scale");
		if (!Name || Name->empty())
		{
			Problem(Where + "AxisName is missing");
			continue;
		}
		if (!KeyName)
		{
			Problem(Where + "Key is missing");
			continue;
		}
		FSimInputAxisMapping M;
		M.AxisName = *Name;
		M.Key = FKey(*KeyName);
		if (!M.Key.IsValid())
		{
			Problem(Where + Tarnwick::Printf("unknown key '%s'", KeyName->c_str()));
			continue;
		}
		if (Scale && !ParseNumber(*Scale, M.Scale))
		{
			Problem(Where + Tarnwick::Printf("Scale '%s' is not a number", Scale->c_str()));
			continue;
		}
		Out.AxisMappings.push_back(std::move(M));
	}
	const std::vector<std::string> Actions = Ini.GetArray(InputSettingsSection, "ActionMappings");
	for (size_t I = 0; I < Actions.size(); ++I)
	{
		const std::string Where = Tarnwick::Printf("ActionMappings[%d]: ", static_cast<int>(I));
		std::vector<std::pair<std::string, std::string>> Fields;
		std::string Error;
		if (!ParseIniStruct(Actions[I], Fields, &Error))
		{
			Problem(Where + Error);
			continue;
		}
		const std::string* Name = Find(Fields, "ActionName");
		const std::string* KeyName = Find(Fields, "Key");
		if (!Name || Name->empty())
		{
			Problem(Where + "ActionName is missing");
			continue;
		}
		if (!KeyName)
		{
			Problem(Where + "Key is missing");
			continue;
		}
		FSimInputActionMapping M;
		M.ActionName = *Name;
		M.Key = FKey(*KeyName);
		if (!M.Key.IsValid() || M.Key.IsAxis1D())
		{
			Problem(Where + Tarnwick::Printf(M.Key.IsValid() ? "key '%s' is an axis and cannot trigger an action" : "unknown key '%s'",
								KeyName->c_str()));
			continue;
		}
		bool bBad = false;
		const std::pair<const char*, bool*> Flags[] = {{"bShift", &M.bShift}, {"bCtrl", &M.bCtrl}, {"bAlt", &M.bAlt}, {"bCmd", &M.bCmd}};
		for (const auto& [FlagName, Target] : Flags)
		{
			const std::string* V = Find(Fields, FlagName);
			if (V && !ParseBool(*V, *Target))
			{
				Problem(Where + Tarnwick::Printf("%s must be True or False, not '%s'", FlagName, V->c_str()));
				bBad = true;
				break;
			}
		}
		if (!bBad) Out.ActionMappings.push_back(std::move(M));
	}
	return Out;
}

double FSimInputFrame::GetAxis(const std::string& Name) const
{
	const auto It = Axes.find(Name);
	return It == Axes.end() ? 0.0 : It->second;
}

bool FSimPlayerInput::InputKey(const FInputKeyParams& Params)
{
	if (!Params.Key.IsValid()) return false;
	if (Params.Event == IE_Axis)
	{
		if (!Params.Key.IsAxis1D()) return false;
		AxisDeltas[Params.Key.GetFName()] += Params.Delta;
		return true;
	}
	if (Params.Key.IsAxis1D()) return false;
	auto Held = [&](const char* Left, const char* Right) { return Down.count(Left) > 0 || Down.count(Right) > 0; };
	FEvent E{Params.Key, Params.Event, Held("LeftShift", "RightShift"), Held("LeftControl", "RightControl"), Held("LeftAlt", "RightAlt"),
		Held("LeftCommand", "RightCommand")};
	if (Params.Event == IE_Pressed)
	{
		// A press of a key already down is a repeat, as a held key's auto-repeat is.
		if (!Down.insert(Params.Key.GetFName()).second) E.Event = IE_Repeat;
	}
	else if (Params.Event == IE_Released)
	{
		// Releasing a key that is not down is ignored, as the engine ignores it.
		if (Down.erase(Params.Key.GetFName()) == 0) return true;
	}
	Events.push_back(E);
	return true;
}

FSimInputFrame FSimPlayerInput::ConsumeFrame(const FSimInputSettings& Settings)
{
	FSimInputFrame Frame;
	for (const FSimInputAxisMapping& M : Settings.AxisMappings)
	{
		double& Value = Frame.Axes[M.AxisName];
		if (M.Key.IsAxis1D())
		{
			const auto It = AxisDeltas.find(M.Key.GetFName());
			if (It != AxisDeltas.end()) Value += It->second * Settings.MouseSensitivity * M.Scale;
		}
		else if (Down.count(M.Key.GetFName()))
		{
			Value += M.Scale;
		}
	}
	for (const FEvent& E : Events)
	{
		if (E.Event != IE_Pressed && E.Event != IE_Released) continue;
		for (const FSimInputActionMapping& M : Settings.ActionMappings)
		{
			if (!(M.Key == E.Key)) continue;
			// A mapping that asks for a modifier needs it held; one that does not ask ignores it (the engine's rule).
			if ((M.bShift && !E.bShift) || (M.bCtrl && !E.bCtrl) || (M.bAlt && !E.bAlt) || (M.bCmd && !E.bCmd)) continue;
			Frame.Actions.emplace_back(M.ActionName, E.Event);
		}
	}
	Events.clear();
	AxisDeltas.clear();
	return Frame;
}
}
