// The check a tool call's arguments pass before its handler runs, when the call comes from outside the editor
// (an MCP client, `tarnwick call`). It is driven only by the action's parameter schema, so it holds for every
// tool, including those of modules this file has never heard of.
//
// The rule, in order, for each argument:
// - JSON null counts as absent: the argument is removed.
// - A name that is neither a parameter nor one of its aliases is refused, naming the closest known one.
// - A value whose JSON type the parameter does not take is refused, naming the parameter, the type it takes
//   and what came; except that text holding exactly a number is taken as that number for a number or integer
//   parameter, and the text "true" or "false" (in any case) as that boolean for a boolean one. An integer
//   parameter takes a number with no fraction (2.0 becomes 2).
// - A type name the check does not know lets any value through.
// Whether required parameters are present, and what values mean, stays with the handlers, whose messages are
// part of each action's interface. Calls made inside the editor (FTarnwickToolRegistry::ExecuteAction) never
// pass through here and keep the handlers' own tolerant reading.
#pragma once
#include "TarnwickJson.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tarnwick::Mcp
{
/** "a number", "an array or an object", "a boolean (true or false)": what a registered type name takes. */
std::string DescribeParamType(std::string_view TypeName);

/**
 * Checks Arguments (a JSON object) against ParamSchema (the action's registered parameter schema) for the tool
 * named ToolName (used in messages). On success returns nothing and leaves Arguments as the handler should see
 * it (nulls removed, numeric and boolean text converted). On failure returns the message for a -32602 error,
 * naming every offending argument; Arguments is then unspecified.
 */
std::optional<std::string> CheckArguments(const FJson& ParamSchema, FJson& Arguments, std::string_view ToolName);

/** The parameter names of a schema (in order) followed by their aliases. */
std::vector<std::string> KnownParameterNames(const FJson& ParamSchema);
}
