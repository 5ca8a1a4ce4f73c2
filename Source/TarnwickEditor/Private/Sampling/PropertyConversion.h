// How a reflected property value becomes a sampled value: bools, numbers, enums (name plus integer), texts,
// vectors, rotators and object references; anything else only as raw JSON when the spec asked for it. Pure.
#pragma once
#include "Object.h"
#include "Sampling/DispatchedResponses.h"

namespace Tarnwick::Sampling
{
FParsedRead ConvertPropertyValue(const FProperty& Property, const FPropertyValue& Value, bool bRetainJson);
}
