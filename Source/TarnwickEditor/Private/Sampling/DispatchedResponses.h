// What the gas and blackboard reads make of the answers of the plug-in's "gas" and "ai" namespaces: the
// attribute's current (and base) value, and one key of a blackboard dump, with the failure texts an agent sees
// in sample_resolution. Pure: the registry call is made by the world reader.
#pragma once
#include "Sampling/SampleValue.h"

#include <string>

namespace Tarnwick::Sampling
{
/** A value, or the reason there is none. */
struct FParsedRead
{
	bool bOk = false;
	FSampleValue Value;
	std::string Failure;
};

/** gas.get_attribute_value's result: a finite numeric `current_value`, and `base_value` as the base when numeric. */
FParsedRead ParseGasResponse(const FJson& Result);

/** ai.runtime_get_all_bb_values's result: the entry of `keys` named Key, converted by its `type`. */
FParsedRead ParseBlackboardResponse(const FJson& Result, const std::string& Key);

/**
 * The engine's text forms of a vector ("X=1.000 Y=2.000 Z=3.000") and a rotator ("P=10.000 Y=20.000
 * R=30.000"), letters in any case, with or without parentheses and commas. False when a component is missing
 * or not a number.
 */
bool ParseVectorText(const std::string& Text, bool bRotator, double& OutA, double& OutB, double& OutC);
}
