// The sample-spec grammar: a session's `sample_spec` entries and legacy `sample_vars` names become one ordered
// list of named specs, with the source inferred where it was not given, names derived where they were not
// given, and every refusal an agent can act on. Pure; the session calls it before PIE starts.
#pragma once
#include "TarnwickJson.h"

#include <string>
#include <vector>

namespace Tarnwick::Sampling
{
enum class ESampleSource : uint8_t
{
	Anim,
	Property,
	Gas,
	Blackboard,
};

/** "anim", "property", "gas", "blackboard". */
const char* SourceName(ESampleSource Source);

/** Anim and property read through reflection each tick; gas and blackboard marshal JSON through a dispatch. */
inline bool IsDispatchedSource(ESampleSource Source) { return Source == ESampleSource::Gas || Source == ESampleSource::Blackboard; }

struct FSampleSpec
{
	std::string Name;
	ESampleSource Source = ESampleSource::Anim;
	bool bSourceInferred = false;
	std::string Root = "pawn";
	std::string Path;
	std::string Attribute;
	std::string Key;
	/** Seconds between reads; below 0: the session's cadence for the source. */
	double Interval = -1.0;
	bool bRequired = true;
	bool bRetainJson = false;
};

/** More variables than this are refused (retained rows index variables in 16 bits). */
inline constexpr size_t MaxSampleSpecs = 4096;

/** The AnimInstance variables sampled when a session names neither sample_vars nor sample_spec. */
inline const char* const DefaultAnimVars[] = {"GroundSpeed", "bShouldMove", "DesiredYawDelta"};

/**
 * Reads `sample_spec` and `sample_vars` of the session's params into OutSpecs (sample_spec entries first, in
 * order, then the legacy names). False with the refusal message at the first problem; OutSpecs is then
 * unspecified.
 */
bool ParseSampleSpecs(const FJson& Params, std::vector<FSampleSpec>& OutSpecs, std::string& OutRefusal);
}
