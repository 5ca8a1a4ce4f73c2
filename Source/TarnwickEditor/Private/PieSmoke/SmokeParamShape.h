// The shape check a smoke start runs before it reads any option: every key must be one the action takes, and
// every present key must have its documented JSON type, down into the entries of input_events, probe_scripts,
// stages and actor_setup. A misspelt key or a number sent as text would otherwise be dropped silently and the
// session would run with a default the agent never asked for; here it is an error the agent can read, and
// nothing is started. Null counts as absent. Pure.
//
// What the grammar itself refuses (an input event that is not an object, an unknown event name, a missing key,
// ...) is left to the spec parser, which words those refusals; log_patterns is never refused, whatever its
// shape, and sample_spec/expect entries belong to the sampling parser.
#pragma once
#include "PieSmoke/PieSmokeSpec.h"
#include "TarnwickJson.h"

#include <optional>
#include <string>
#include <vector>

namespace Tarnwick::PieSmoke
{
/** The keys an action reads: its documented parameters, plus the clip's options run_pie_smoke also honours. */
std::vector<std::string> AcceptedKeys(ESmokeAction Action, const std::vector<std::string>& DocumentedParams);

/** The message of the first shape error (reported with code -32602), or nullopt when the shapes are right. */
std::optional<std::string> CheckSmokeParamShapes(const FJson& Params, ESmokeAction Action, const std::vector<std::string>& AcceptedKeys);
}
