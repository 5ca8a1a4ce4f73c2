// Pure rules of the "pie" input actions: which key a name means (with a helpful refusal), which modifier keys
// a modifiers list holds, the mouse button names, the hold-time clamp and the viewport clamp.
#pragma once
#include "InputCoreTypes.h"
#include "TarnwickJson.h"
#include "Viewport.h"

#include <string>
#include <vector>

namespace Tarnwick::Gameplay
{
/** Longest press_key hold in milliseconds. */
inline constexpr int32 MaxHoldMs = 500;

/**
 * The key named (an EKeys name, case-insensitive). False with a message naming the bad key, a likely meaning
 * when there is one ("did you mean 'SpaceBar'?") and a few valid names.
 */
bool ParseKeyName(const std::string& Name, FKey& OutKey, std::string& OutError);

/**
 * The modifier keys of a "modifiers" value (null or absent: none): an array of "Shift", "Ctrl" (or "Control"),
 * "Alt", "Cmd" (or "Command"), case-insensitive, each meaning its left key; repeats are kept once.
 */
bool ParseModifiers(const FJson* Value, std::vector<FKey>& OutKeys, std::string& OutError);

/** "left", "right" or "middle" (case-insensitive) as the mouse button key. */
bool ParseMouseButton(const std::string& Name, FKey& OutKey);

/** Hold time clamped to 0..500 ms; anything below 1 ms is 0. */
int32 ClampHoldMs(double Milliseconds);

/** A position clamped into a viewport of Size (0..Size-1 on each axis); bClamped tells whether it moved. */
FIntPoint ClampToViewport(double X, double Y, const FIntPoint& Size, bool& bClamped);
}
