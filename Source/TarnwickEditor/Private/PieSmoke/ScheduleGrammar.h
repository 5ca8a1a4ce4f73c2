// The grammar of a session's scheduled blocks: input_events, probe_scripts, stages and actor_setup. Parsed
// before PIE starts, so that a spec that could never fire is refused with nothing started. Pure.
#pragma once
#include "PieSmoke/PieSmokeSpec.h"
#include "TarnwickJson.h"

#include <optional>
#include <string>
#include <vector>

namespace Tarnwick::PieSmoke
{
/** The most a press may hold the game thread. */
inline constexpr int32 MaxHoldMs = 500;

/**
 * input_events, in the given order, against the clamped Duration. False with the refusal naming the entry's
 * zero-based index: not an object, an unknown event, a key or position missing for its event, a field the
 * event cannot use, or an at_seconds the session never reaches.
 */
bool ParseInputEvents(const FJson& Params, double Duration, std::vector<FInputEvent>& OutEvents, std::string& OutRefusal);

/** probe_scripts; at_seconds raised to 0; an entry with neither python nor a console command is dropped. */
std::vector<FProbe> ParseProbes(const FJson& Params);

/** stages; after_n_ticks.n raised to at least 1 (absent: 1). */
FStages ParseStages(const FJson& Params);

/** actor_setup; entries without a class are skipped; count absent is 1, raised to 1, at most MaxActorSetupCount. */
std::vector<FActorSetupEntry> ParseActorSetup(const FJson& Params);
inline constexpr int32 MaxActorSetupCount = 1000;
}
