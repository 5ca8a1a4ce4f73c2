// Reading common parameter shapes: vectors, mobility names, content paths.
#pragma once
#include "MathTypes.h"
#include "TarnwickJson.h"

#include <string>

namespace TarnwickParamUtils
{
/** Reads Key as [x, y, z] (numbers) or {"x","y","z"}; false when absent or malformed. */
bool ParseVector(const FJsonPtr& Params, const std::string& Key, FVector& OutVector);
/** The same for an already extracted value. */
bool ParseVectorValue(const FJson& Value, FVector& OutVector);
/** "Static", "Stationary" or "Movable" (case-insensitive). */
bool ParseMobility(const std::string& Text, EComponentMobility::Type& OutMobility);
const char* MobilityToString(EComponentMobility::Type Mobility);
/** Turns a user path ("/Game/Maps/Arena", "Game/Maps/Arena.umap", "/Game/Maps/Arena.Arena", "Content/Maps/Arena")
 *  into a long package path ("/Game/Maps/Arena"); false with a reason for anything that cannot be one. */
bool NormalizeContentPath(std::string& InOutPath, std::string& OutError);
}
