// Turns an action's parameter schema into the JSON Schema an MCP client expects as inputSchema.
#pragma once
#include "TarnwickJson.h"

namespace Tarnwick::Mcp
{
/** {"type":"object","properties":{...},"required":[...],"additionalProperties":false}: "bool"/"boolean" become
 *  boolean, "array|object" and "boolean|string" become type unions, descriptions are kept, a default is given
 *  in its JSON type when the default text parses as that type, and a parameter's "shape" becomes items,
 *  minItems, maxItems and enum. */
FJson ToInputSchema(const FJson& ParamSchema);

/** What clients show for a tool: the action's words capitalised, with the engine's acronyms kept ("Start PIE",
 *  "Set FOV"), after the namespace's for namespaces other than "editor" and the core's ("Editor Utility: Run").
 *  Without an action, the title of a namespace's grouped tool ("Editor Utility actions"). */
std::string MakeToolTitle(const std::string& Namespace, const std::string& Action);
}
