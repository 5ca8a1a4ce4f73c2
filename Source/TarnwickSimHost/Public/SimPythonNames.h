// How the `unreal` Python module names reflected properties, as the engine's Python API does: snake_case, with
// a boolean's "b" prefix dropped ("bIsSprinting" is "is_sprinting", "MaxWalkSpeed" is "max_walk_speed"). The
// property's own name is accepted too, without regard to case.
#pragma once
#include <string>
#include <string_view>

struct FProperty;
class UClass;

namespace Tarnwick::Sim
{
/** The Python name of a property. */
std::string PythonizePropertyName(std::string_view Name, bool bIsBool);

/** The property of Class that Name calls for (its own name, any case, or its Python name); null when none. */
const FProperty* FindPropertyForPython(const UClass* Class, std::string_view Name);
}
