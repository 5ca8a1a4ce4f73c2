#include "Sampling/DispatchedResponses.h"

#include "Printf.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

namespace Tarnwick::Sampling
{
namespace
{
FParsedRead Fail(std::string Text)
{
	FParsedRead Out;
	Out.Failure = std::move(Text);
	return Out;
}

FParsedRead Ok(FSampleValue Value)
{
	FParsedRead Out;
	Out.bOk = true;
	Out.Value = std::move(Value);
	return Out;
}

constexpr const char* NotFinite = "value is not finite (NaN/Inf)";

/** Finds "<Letter>=" (any case, not inside a longer word) and parses the number after it. */
bool ReadComponent(const std::string& Text, char Letter, double& Out)
{
	for (size_t I = 0; I + 1 < Text.size(); ++I)
	{
		const char C = static_cast<char>(std::toupper(static_cast<unsigned char>(Text[I])));
		if (C != Letter || Text[I + 1] != '=') continue;
		if (I > 0 && std::isalpha(static_cast<unsigned char>(Text[I - 1]))) continue;
		const char* Start = Text.c_str() + I + 2;
		char* End = nullptr;
		Out = std::strtod(Start, &End);
		if (End == Start || !std::isfinite(Out)) return false;
		return true;
	}
	return false;
}
}

bool ParseVectorText(const std::string& Text, bool bRotator, double& OutA, double& OutB, double& OutC)
{
	return bRotator ? ReadComponent(Text, 'P', OutA) && ReadComponent(Text, 'Y', OutB) && ReadComponent(Text, 'R', OutC)
					: ReadComponent(Text, 'X', OutA) && ReadComponent(Text, 'Y', OutB) && ReadComponent(Text, 'Z', OutC);
}

FParsedRead ParseGasResponse(const FJson& Result)
{
	if (!Result.is_object() || !Result.contains("current_value") || !Result["current_value"].is_number())
	{
		return Fail("gas response had no numeric current_value");
	}
	const double Current = Result["current_value"].get<double>();
	if (!std::isfinite(Current)) return Fail(NotFinite);
	FSampleValue Value = FSampleValue::MakeNumber(Current);
	if (Result.contains("base_value") && Result["base_value"].is_number())
	{
		const double Base = Result["base_value"].get<double>();
		if (std::isfinite(Base))
		{
			Value.bHasBase = true;
			Value.Base = Base;
		}
	}
	return Ok(std::move(Value));
}

FParsedRead ParseBlackboardResponse(const FJson& Result, const std::string& Key)
{
	if (!Result.is_object() || !Result.contains("keys") || !Result["keys"].is_array()) return Fail("empty blackboard payload");
	const FJson* Entry = nullptr;
	for (const FJson& Candidate : Result["keys"])
	{
		if (Candidate.is_object() && Candidate.contains("name") && Candidate["name"] == Key)
		{
			Entry = &Candidate;
			break;
		}
	}
	if (!Entry) return Fail(Tarnwick::Printf("blackboard key '%s' not present on this root", Key.c_str()));

	const std::string Type = Entry->contains("type") && (*Entry)["type"].is_string() ? (*Entry)["type"].get<std::string>() : std::string();
	const FJson Missing;
	const FJson& V = Entry->contains("value") ? (*Entry)["value"] : Missing;
	if (Type == "float" || Type == "int" || Type == "enum")
	{
		if (!V.is_number()) return Fail("missing numeric value");
		const double N = V.get<double>();
		if (!std::isfinite(N)) return Fail(NotFinite);
		return Ok(FSampleValue::MakeNumber(N));
	}
	if (Type == "bool")
	{
		if (!V.is_boolean()) return Fail("missing bool value");
		return Ok(FSampleValue::MakeBool(V.get<bool>()));
	}
	if (Type == "string" || Type == "name")
	{
		return Ok(FSampleValue::MakeString(V.is_string() ? V.get<std::string>() : std::string()));
	}
	if (Type == "vector" || Type == "rotator")
	{
		const bool bRotator = Type == "rotator";
		double A = 0.0, B = 0.0, C = 0.0;
		if (!V.is_string() || !ParseVectorText(V.get<std::string>(), bRotator, A, B, C))
		{
			return Fail("could not parse the formatted vector/rotator string");
		}
		return Ok(bRotator ? FSampleValue::MakeRotator(A, B, C) : FSampleValue::MakeVector(A, B, C));
	}
	if (Type == "object")
	{
		const bool bHasPath = Entry->contains("value_path") && (*Entry)["value_path"].is_string() &&
			!(*Entry)["value_path"].get_ref<const std::string&>().empty();
		return Ok(FSampleValue::MakeObject(bHasPath ? (*Entry)["value_path"].get<std::string>() : std::string("None")));
	}
	return Fail(Tarnwick::Printf("unhandled blackboard key type '%s'", Type.c_str()));
}
}
