// Turns an action's parameter schema into the JSON Schema an MCP client expects as inputSchema.
#pragma once
#include "TarnwickJson.h"

namespace Tarnwick::Mcp
{
/** {"type":"object","properties":{...},"required":[...]}: "bool"/"boolean" become boolean, "array|object" and
 *  "boolean|string" become type unions, descriptions are kept, and a default is given in its JSON type when the
 *  default text parses as that type. */
FJson ToInputSchema(const FJson& ParamSchema);
}
