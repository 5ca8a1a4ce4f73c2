// One sampled value and the ways an expectation looks at it: its kind, the number a selector picks out of it,
// its text form in messages and its JSON form in retained rows. Pure; shared by sampling and expectations.
#pragma once
#include "HostTypes.h"
#include "TarnwickJson.h"

#include <cmath>
#include <optional>
#include <string>
#include <string_view>

namespace Tarnwick::Sampling
{
/** The kinds a read yields, numbered as they are reported. */
enum class ESampleKind : uint8
{
	Missing = 0,
	Bool = 1,
	Number = 2,
	String = 3,
	Vector = 4,
	Rotator = 5,
	Object = 6,
	Json = 7,
};

/** "missing", "bool", "number", "string", "vector", "rotator", "object", "json". */
const char* KindName(ESampleKind Kind);

/** The suffix of a variable reference that picks a number out of a value. */
enum class ESelector : uint8
{
	None,
	X,
	Y,
	Z,
	Len,
	Base,
};

/** "x", "y", "z", "len", "base"; "" for none. */
const char* SelectorName(ESelector Selector);

/** A variable reference as written in an expectation: the variable's name and an optional selector. */
struct FVarRef
{
	/** The reference exactly as written ("Velocity.len"), used in messages. */
	std::string Text;
	std::string Name;
	ESelector Selector = ESelector::None;
};

/**
 * Splits a reference at its last '.': when the suffix (any case) is x, y, z, len or base it is the selector and
 * the rest the variable; otherwise the whole reference names the variable, so names with dots still work.
 */
FVarRef SplitVarRef(const std::string& Ref);

/**
 * A typed value. Bool: bBool. Number: Number. String: String (an enum carries its enumerator's name here and
 * its integer in Number with bHasEnumValue). Object: String (the path name, "None" for null). Vector: X, Y, Z.
 * Rotator: X, Y, Z are pitch, yaw and roll. Json: Json. Any kind may carry a GAS base value.
 */
struct FSampleValue
{
	ESampleKind Kind = ESampleKind::Missing;
	bool bBool = false;
	bool bHasEnumValue = false;
	bool bHasBase = false;
	double Number = 0.0;
	double X = 0.0;
	double Y = 0.0;
	double Z = 0.0;
	double Base = 0.0;
	std::string String;
	FJson Json;

	static FSampleValue MakeBool(bool V);
	static FSampleValue MakeNumber(double V);
	static FSampleValue MakeString(std::string V);
	static FSampleValue MakeEnum(std::string Name, int64 V);
	static FSampleValue MakeObject(std::string PathName);
	static FSampleValue MakeVector(double InX, double InY, double InZ);
	static FSampleValue MakeRotator(double Pitch, double Yaw, double Roll);
	static FSampleValue MakeJson(FJson V);

	/** The vector length of the three components. */
	double Length() const { return std::sqrt(X * X + Y * Y + Z * Z); }
	/** Same kind and content; strings and object paths compare without regard to case. */
	bool SameAs(const FSampleValue& Other) const;
};

/**
 * The number a selector yields, or nothing where it does not apply: no selector gives a number for kind number
 * and for an enum (its integer); x, y, z and len only for vectors and rotators; base only when the read carried
 * a GAS base value.
 */
inline std::optional<double> NumericView(const FSampleValue& Value, ESelector Selector)
{
	switch (Selector)
	{
	case ESelector::None:
		if (Value.Kind == ESampleKind::Number || (Value.Kind == ESampleKind::String && Value.bHasEnumValue)) return Value.Number;
		return std::nullopt;
	case ESelector::X:
	case ESelector::Y:
	case ESelector::Z:
	case ESelector::Len:
		if (Value.Kind != ESampleKind::Vector && Value.Kind != ESampleKind::Rotator) return std::nullopt;
		if (Selector == ESelector::X) return Value.X;
		if (Selector == ESelector::Y) return Value.Y;
		if (Selector == ESelector::Z) return Value.Z;
		return Value.Length();
	case ESelector::Base:
		if (Value.bHasBase) return Value.Base;
		return std::nullopt;
	}
	return std::nullopt;
}

/** Whether a selector can ever give a number for a variable of this kind (base aside, which depends on the read). */
bool SelectorAppliesToKind(ESelector Selector, ESampleKind Kind);

/**
 * Truthiness for the ordering events: a bool is itself; a number (or a selected component) is true when
 * non-zero; a string when non-empty; an object when not "None"; a vector or rotator when its length is
 * non-zero; json when neither null nor false.
 */
bool IsTruthy(const FSampleValue& Value, ESelector Selector);

/**
 * The text of a sampled value in messages: "<missing>", a string in single quotes, "true"/"false", a number
 * with %g, a vector or rotator as "(%.2f, %.2f, %.2f)", json as compact text. With a selector, the selected
 * number.
 */
std::string PrintSample(const FSampleValue& Value, ESelector Selector);

/** The row form: bool, number, string (enum name, object path), [x, y, z], or the raw json. */
FJson SampleToJson(const FSampleValue& Value);
/** As SampleToJson, or the selected number when a selector gives one. */
FJson SelectedToJson(const FSampleValue& Value, ESelector Selector);

/** ASCII case-insensitive equality. */
bool EqualsIgnoreCase(std::string_view A, std::string_view B);
/** ASCII case-insensitive substring test; an empty needle is found everywhere. */
bool ContainsIgnoreCase(std::string_view Haystack, std::string_view Needle);
}
