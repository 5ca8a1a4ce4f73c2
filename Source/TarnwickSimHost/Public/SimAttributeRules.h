// Pure rules of gameplay attributes: attribute set declarations, gameplay effect specs and how an effect's
// operation changes a value. The component that holds attributes is in SimAbilitySystem.h, which describes the
// rules in full.
#pragma once
#include "AbilitySystemComponent.h"
#include "SimReflectionRules.h"

#include <optional>
#include <string>
#include <vector>

namespace Tarnwick::Sim
{
enum class ESimEffectOp : uint8
{
	Add,
	Multiply,
	Override,
};

enum class ESimEffectDuration : uint8
{
	Instant,
	HasDuration,
	Infinite,
};

struct FSimGameplayEffectSpec
{
	FGameplayAttribute Attribute;
	ESimEffectOp Op = ESimEffectOp::Add;
	double Magnitude = 0.0;
	ESimEffectDuration Duration = ESimEffectDuration::Instant;
	double DurationSeconds = 0.0;
	/** Seconds between executions; 0 for an effect that is not periodic. */
	double Period = 0.0;
};

struct FSimAttributeDef
{
	std::string Name;
	double Base = 0.0;
	std::optional<double> MinValue;
	std::optional<double> MaxValue;
	/** A bound read from another attribute of the set (its current value). */
	std::string MinAttribute;
	std::string MaxAttribute;
};

struct FSimAttributeSetDef
{
	std::string Name;
	std::vector<FSimAttributeDef> Attributes;
};

/** Parses the "AttributeSets" object; errors name the set and attribute ("USet.Health: ..."). */
std::optional<std::vector<FSimAttributeSetDef>> ParseAttributeSets(const FSimJson& Json, std::string* OutError);
/** Overrides replace same-named attributes (base and bounds) and add new ones and new sets. */
std::vector<FSimAttributeSetDef> MergeAttributeSets(std::vector<FSimAttributeSetDef> Base, const std::vector<FSimAttributeSetDef>& Overrides);
double ApplyEffectOp(ESimEffectOp Op, double Value, double Magnitude);
const char* LexToString(ESimEffectOp Op);
}
