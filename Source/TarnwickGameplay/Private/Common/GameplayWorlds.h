// What every gameplay action needs: the world it acts on, the actor it names, vectors in parameters and
// replies, and its errors worded the same way everywhere.
#pragma once
#include "MathTypes.h"
#include "TarnwickActionResult.h"

#include <string>

class AActor;
class UWorld;

namespace Tarnwick::Gameplay
{
enum class EWorldChoice
{
	Auto,
	Editor,
	Pie,
};

FTarnwickActionResult InvalidParam(const std::string& Field, const std::string& Message);
FTarnwickActionResult EditorFailure(const std::string& Message);

/** Reads the optional "world" parameter (auto, editor or pie, case-insensitive); -32602 for anything else. */
bool ReadWorldChoice(const FJsonPtr& Params, EWorldChoice Default, EWorldChoice& OutChoice, FTarnwickActionResult& OutError);
/** The world chosen: auto is the PIE world while PIE runs, else the editor world. OutWhich is "pie" or "editor". */
UWorld* ResolveWorld(EWorldChoice Choice, std::string& OutWhich, FTarnwickActionResult& OutError);
/** The running PIE world, or the core's PIE-required error. */
UWorld* RequirePieWorld(FTarnwickActionResult& OutError);

/** The actor with that label, else that object name (case-insensitive); -32602 naming what was searched. */
AActor* RequireActor(UWorld* World, const std::string& WorldName, const std::string& Name, FTarnwickActionResult& OutError);

/** Reads Key as [x, y, z] of finite numbers; -32602 when missing (and required) or malformed. */
bool ReadVectorParam(const FJsonPtr& Params, const std::string& Key, FVector& OutVector, FTarnwickActionResult& OutError);
/** Reads an optional number; -32602 when present but not a finite number. False also when absent (OutPresent false). */
bool ReadOptionalNumber(const FJsonPtr& Params, const std::string& Key, double& OutValue, bool& OutPresent, FTarnwickActionResult& OutError);

FJson VectorJson(const FVector& V);
}
