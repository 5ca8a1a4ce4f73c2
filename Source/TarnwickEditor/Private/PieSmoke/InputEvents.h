// Firing a session's scheduled input through the "pie" namespace's actions (key_down, key_up, press_key,
// mouse_move, click), exactly as an agent would call them, and releasing at the end any key a down left held.
// The parameter building and the held-key bookkeeping are pure; firing goes through the tool registry.
// Game thread only.
#pragma once
#include "PieSmoke/PieSmokeSpec.h"
#include "TarnwickJson.h"

#include <string>
#include <vector>

namespace Tarnwick::PieSmoke
{
/** The receiving action's parameters: position for mouse events, button for clicks, key (and hold) for keys. */
FJson BuildInputEventParams(const FInputEvent& Event);

/** Calls the receiving action at session time T and records what happened; a failure is logged, never fatal. */
void FireInputEvent(FInputEvent& Event, double T);

/** The keys a fired, successful down left held (no successful up after it), in the order they went down. */
std::vector<std::string> KeysStillHeld(const std::vector<FInputEvent>& Events);

/** Sends key_up for every key still held; returns the keys released. */
std::vector<std::string> ReleaseHeldKeys(const std::vector<FInputEvent>& Events);
}
