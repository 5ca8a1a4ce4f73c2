// "Did you mean ...?": the known name closest to a misspelt one, for the messages that refuse an unknown tool,
// action, parameter or --toolset entry. A model corrects a name it is told far more reliably than one it has
// to find in a list.
#pragma once
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tarnwick::Mcp
{
/** Edits (insert, delete, substitute, swap two neighbours) between A and B, ignoring ASCII case. */
size_t EditDistance(std::string_view A, std::string_view B);

/**
 * The known name a reader most likely meant by Given: the one fewest edits away when that is at most a third of
 * Given's length (at least one edit), or one that contains Given (3 characters or more) as a shortened name.
 * Earlier names win ties. Nothing when no name is that close, or when Given is itself known.
 */
std::optional<std::string> SuggestClosest(std::string_view Given, const std::vector<std::string>& Known);

/** " (did you mean 'x'?)" for SuggestClosest's answer, or "" when there is none. */
std::string DidYouMean(std::string_view Given, const std::vector<std::string>& Known);

/** The names joined by ", ", each in single quotes when bQuoted. */
std::string JoinNames(const std::vector<std::string>& Names, bool bQuoted = false);
}
