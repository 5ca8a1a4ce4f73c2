// The one printf-style formatter. User-facing messages keep their printf formats ("%.2f", "%g", "%d")
// verbatim, so numbers print exactly as they are documented; every module formats through this.
#pragma once
#include <cstdarg>
#include <string>

namespace Tarnwick
{
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
std::string Printf(const char* Format, ...);

#if defined(__GNUC__)
__attribute__((format(printf, 1, 0)))
#endif
std::string VPrintf(const char* Format, va_list Args);
}
