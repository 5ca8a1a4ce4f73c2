// How times reach clients: monotonic host seconds shown as ISO-8601 UTC by subtracting their age from now.
#pragma once
#include <string>

namespace Tarnwick
{
/** "%Y-%m-%dT%H:%M:%S" UTC of a monotonic time; "never" for a time of 0 or less. */
std::string FormatMonotonicAsUtc(double MonotonicSeconds);
/** "%Y-%m-%dT%H:%M:%S" of a UTC time in seconds since the epoch. */
std::string FormatUtc(double UtcSeconds);
/** Local time as "%H%M%S" (used in ids). */
std::string FormatLocalHms(double UtcSeconds);
/** Local date and time as "%Y%m%d_%H%M%S" (used in default output folder names). */
std::string FormatLocalStamp(double UtcSeconds);
}
