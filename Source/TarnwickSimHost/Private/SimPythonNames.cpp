#include "SimPythonNames.h"

#include "Object.h"

#include <cctype>

namespace Tarnwick::Sim
{
namespace
{
bool IsUpper(char C) { return C >= 'A' && C <= 'Z'; }
bool IsLower(char C) { return C >= 'a' && C <= 'z'; }
}

std::string PythonizePropertyName(std::string_view Name, bool bIsBool)
{
	if (bIsBool && Name.size() > 1 && Name[0] == 'b' && IsUpper(Name[1])) Name.remove_prefix(1);
	std::string Out;
	for (size_t I = 0; I < Name.size(); ++I)
	{
		const char C = Name[I];
		if (IsUpper(C) && I > 0)
		{
			// A word starts at a capital after a small letter ("walkSpeed"), or at the last capital of a run that a
			// small letter follows ("AIController" is "ai_controller"); digits do not start words ("Scale3D").
			const bool bAfterLower = IsLower(Name[I - 1]);
			const bool bEndsRun = IsUpper(Name[I - 1]) && I + 1 < Name.size() && IsLower(Name[I + 1]);
			if ((bAfterLower || bEndsRun) && Out.back() != '_') Out.push_back('_');
		}
		Out.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(C))));
	}
	return Out;
}

const FProperty* FindPropertyForPython(const UClass* Class, std::string_view Name)
{
	if (!Class || Name.empty()) return nullptr;
	if (const FProperty* P = Class->FindPropertyByName(Name)) return P;
	for (const FProperty* P : Class->GetProperties())
	{
		if (PythonizePropertyName(P->Name, P->Type == EPropertyType::Bool) == Name) return P;
	}
	return nullptr;
}
}
