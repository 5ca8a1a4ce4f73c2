// Text into XML and HTML. Report strings come from the game (actor names, log lines, Python output), so they
// may hold markup characters, control characters XML forbids, or broken UTF-8; all three are made safe here.
#pragma once
#include <string>
#include <string_view>

namespace Tarnwick::Reports
{
/** Valid UTF-8 without the control characters XML 1.0 forbids: bad bytes become U+FFFD, such controls are dropped. */
std::string CleanText(std::string_view Text);
/** Escaped for element content (& < >), after CleanText. */
std::string EscapeText(std::string_view Text);
/** Escaped for a double-quoted attribute (also " ' and line breaks and tabs as character references). */
std::string EscapeAttribute(std::string_view Text);
/** A fragment identifier usable in id= and href="#...": letters, digits, "-" and "_" kept, every other byte as "_XX". */
std::string AnchorId(std::string_view Prefix, std::string_view Text);
}
