// The loaded Blueprints whose compile errors would stop a PIE start: exactly the condition the editor tests
// before it raises its blocking "Blueprint Compilation Errors" modal. start_play reports them with its request
// so that an agent learns why PIE never came up; list_errored_blueprints and run_pie_smoke's refusal apply
// the same rule.
#pragma once
#include "TarnwickJson.h"

class UBlueprint;

namespace Tarnwick::Pie
{
/** Live (not pending destruction), status Error, and set to raise the PIE compile-error warning. */
bool IsErroredBlueprint(const UBlueprint* Blueprint);

/** [{"name": object name, "path": path name}] of every errored loaded Blueprint, in load order. Game thread only. */
FJson ListErroredBlueprints();
}
