// The pure rules of the PIE actions: how step_pie reads its frame count and how a world's type is named in
// is_pie_active. PieActions.cpp applies them to the live editor.
#pragma once
#include "TarnwickJson.h"
#include "World.h"

namespace Tarnwick::Pie
{
inline constexpr int32 MaxStepFrames = 120;

/**
 * step_pie's "frames": a number (or numeric text), truncated toward zero; above 120 it is 120, below 2 it is 1
 * (0 and negatives included). Absent or not a number: 1.
 */
int32 ReadStepFrames(const FJsonPtr& Params);

/** "PIE" for a PIE world, "Game" for a game world, "Other" for any other type. */
const char* WorldTypeName(EWorldType::Type Type);
}
