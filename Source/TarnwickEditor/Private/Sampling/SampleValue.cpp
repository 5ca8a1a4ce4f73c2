#include "Sampling/SampleValue.h"

#include "Printf.h"

#include <algorithm>
#include <cmath>

namespace Tarnwick::Sampling
{
namespace
{
char Fold(char C) { return (C >= 'A' && C <= 'Z') ? static_cast<char>(C - 'A' + 'a') : C; }
}

const char* KindName(ESampleKind Kind)
{
	switch (Kind)
	{
	case ESampleKind::Missing: return "missing";
	case ESampleKind::Bool: return "bool";
	case ESampleKind::Number: return "number";
	case ESampleKind::String: return "string";
	case ESampleKind::Vector: return "vector";
	case ESampleKind::Rotator: return "rotator";
	case ESampleKind::Object: return "object";
	case ESampleKind::Json: return "json";
	}
	return "missing";
}

const char* SelectorName(ESelector Selector)
{
	switch (Selector)
	{
	case ESelector::None: return "";
	case ESelector::X: return "x";
	case ESelector::Y: return "y";
	case ESelector::Z: return "z";
	case ESelector::Len: return "len";
	case ESelector::Base: return "base";
	}
	return "";
}

bool EqualsIgnoreCase(std::string_view A, std::string_view B)
{
	if (A.size() != B.size()) return false;
	for (size_t I = 0; I < A.size(); ++I)
	{
		if (Fold(A[I]) != Fold(B[I])) return false;
	}
	return true;
}

bool ContainsIgnoreCase(std::string_view Haystack, std::string_view Needle)
{
	if (Needle.empty()) return true;
	if (Needle.size() > Haystack.size()) return false;
	for (size_t I = 0; I + Needle.size() <= Haystack.size(); ++I)
	{
		if (EqualsIgnoreCase(Haystack.substr(I, Needle.size()), Needle)) return true;
	}
	return false;
}

FVarRef SplitVarRef(const std::string& Ref)
{
	FVarRef Out;
	Out.Text = Ref;
	Out.Name = Ref;
	const size_t Dot = Ref.rfind('.');
	if (Dot == std::string::npos) return Out;
	const std::string_view Suffix = std::string_view(Ref).substr(Dot + 1);
	static constexpr std::pair<const char*, ESelector> Selectors[] = {
		{"x", ESelector::X}, {"y", ESelector::Y}, {"z", ESelector::Z}, {"len", ESelector::Len}, {"base", ESelector::Base}};
	for (const auto& [Name, Selector] : Selectors)
	{
		if (EqualsIgnoreCase(Suffix, Name))
		{
			Out.Name = Ref.substr(0, Dot);
			Out.Selector = Selector;
			break;
		}
	}
	return Out;
}

FSampleValue FSampleValue::MakeBool(bool V)
{
	FSampleValue Out;
	Out.Kind = ESampleKind::Bool;
	Out.bBool = V;
	return Out;
}

FSampleValue FSampleValue::MakeNumber(double V)
{
	FSampleValue Out;
	Out.Kind = ESampleKind::Number;
	Out.Number = V;
	return Out;
}

FSampleValue FSampleValue::MakeString(std::string V)
{
	FSampleValue Out;
	Out.Kind = ESampleKind::String;
	Out.String = std::move(V);
	return Out;
}

FSampleValue FSampleValue::MakeEnum(std::string Name, int64 V)
{
	FSampleValue Out = MakeString(std::move(Name));
	Out.bHasEnumValue = true;
	Out.Number = static_cast<double>(V);
	return Out;
}

FSampleValue FSampleValue::MakeObject(std::string PathName)
{
	FSampleValue Out;
	Out.Kind = ESampleKind::Object;
	Out.String = std::move(PathName);
	return Out;
}

FSampleValue FSampleValue::MakeVector(double InX, double InY, double InZ)
{
	FSampleValue Out;
	Out.Kind = ESampleKind::Vector;
	Out.X = InX;
	Out.Y = InY;
	Out.Z = InZ;
	return Out;
}

FSampleValue FSampleValue::MakeRotator(double Pitch, double Yaw, double Roll)
{
	FSampleValue Out = MakeVector(Pitch, Yaw, Roll);
	Out.Kind = ESampleKind::Rotator;
	return Out;
}

FSampleValue FSampleValue::MakeJson(FJson V)
{
	FSampleValue Out;
	Out.Kind = ESampleKind::Json;
	Out.Json = std::move(V);
	return Out;
}

bool FSampleValue::SameAs(const FSampleValue& Other) const
{
	if (Kind != Other.Kind) return false;
	switch (Kind)
	{
	case ESampleKind::Missing: return true;
	case ESampleKind::Bool: return bBool == Other.bBool;
	case ESampleKind::Number: return Number == Other.Number;
	case ESampleKind::String:
	case ESampleKind::Object: return EqualsIgnoreCase(String, Other.String);
	case ESampleKind::Vector:
	case ESampleKind::Rotator: return X == Other.X && Y == Other.Y && Z == Other.Z;
	case ESampleKind::Json: return Json == Other.Json;
	}
	return false;
}

bool SelectorAppliesToKind(ESelector Selector, ESampleKind Kind)
{
	switch (Selector)
	{
	case ESelector::None: return Kind == ESampleKind::Number;
	case ESelector::X:
	case ESelector::Y:
	case ESelector::Z:
	case ESelector::Len: return Kind == ESampleKind::Vector || Kind == ESampleKind::Rotator;
	case ESelector::Base: return true;
	}
	return false;
}

bool IsTruthy(const FSampleValue& Value, ESelector Selector)
{
	if (Selector != ESelector::None)
	{
		const std::optional<double> N = NumericView(Value, Selector);
		return N && *N != 0.0;
	}
	switch (Value.Kind)
	{
	case ESampleKind::Missing: return false;
	case ESampleKind::Bool: return Value.bBool;
	case ESampleKind::Number: return Value.Number != 0.0;
	case ESampleKind::String: return !Value.String.empty();
	case ESampleKind::Object: return !Value.String.empty() && Value.String != "None";
	case ESampleKind::Vector:
	case ESampleKind::Rotator: return Value.Length() != 0.0;
	case ESampleKind::Json: return !Value.Json.is_null() && Value.Json != FJson(false);
	}
	return false;
}

std::string PrintSample(const FSampleValue& Value, ESelector Selector)
{
	if (Selector != ESelector::None)
	{
		const std::optional<double> N = NumericView(Value, Selector);
		return N ? Tarnwick::Printf("%g", *N) : std::string("<missing>");
	}
	switch (Value.Kind)
	{
	case ESampleKind::Missing: return "<missing>";
	case ESampleKind::Bool: return Value.bBool ? "true" : "false";
	case ESampleKind::Number: return Tarnwick::Printf("%g", Value.Number);
	case ESampleKind::String:
	case ESampleKind::Object: return Tarnwick::Printf("'%s'", Value.String.c_str());
	case ESampleKind::Vector:
	case ESampleKind::Rotator: return Tarnwick::Printf("(%.2f, %.2f, %.2f)", Value.X, Value.Y, Value.Z);
	case ESampleKind::Json: return FTarnwickJsonUtils::Write(Value.Json);
	}
	return "<missing>";
}

FJson SampleToJson(const FSampleValue& Value)
{
	switch (Value.Kind)
	{
	case ESampleKind::Missing: return nullptr;
	case ESampleKind::Bool: return Value.bBool;
	case ESampleKind::Number: return Value.Number;
	case ESampleKind::String:
	case ESampleKind::Object: return Value.String;
	case ESampleKind::Vector:
	case ESampleKind::Rotator: return FJson::array({Value.X, Value.Y, Value.Z});
	case ESampleKind::Json: return Value.Json;
	}
	return nullptr;
}

FJson SelectedToJson(const FSampleValue& Value, ESelector Selector)
{
	if (Selector != ESelector::None)
	{
		const std::optional<double> N = NumericView(Value, Selector);
		return N ? FJson(*N) : FJson(nullptr);
	}
	return SampleToJson(Value);
}
}
