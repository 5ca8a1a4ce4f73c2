// Letter-case folding and plain-text matching for log queries. Folding is ASCII only, as the engine's own
// ToLower is, so multi-byte UTF-8 sequences pass through untouched and can never match a folded ASCII letter.
#pragma once
#include "HostTypes.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace Tarnwick::Logs
{
inline char FoldAscii(char C)
{
	return (C >= 'A' && C <= 'Z') ? static_cast<char>(C - 'A' + 'a') : C;
}

std::string FoldAsciiCopy(std::string_view Text);

/** <0, 0, >0 as A sorts before, equal to or after B ignoring ASCII case. */
int CompareIgnoreAsciiCase(std::string_view A, std::string_view B);

/**
 * A substring pattern that matches ignoring ASCII case. The pattern is folded and its skip table built once, so a
 * search over the whole ring pays for neither per line (Boyer-Moore-Horspool over folded bytes; no allocation).
 */
class FCaseInsensitivePattern
{
public:
	explicit FCaseInsensitivePattern(std::string_view Pattern);

	bool IsEmpty() const { return Folded.empty(); }
	/** True when Text contains the pattern; an empty pattern is found in every text. */
	bool FoundIn(std::string_view Text) const;

private:
	std::string Folded;
	std::array<size_t, 256> Skip{};
};
}
