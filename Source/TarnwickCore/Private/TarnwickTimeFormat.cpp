#include "TarnwickTimeFormat.h"

#include "PlatformTime.h"

#include <cmath>
#include <ctime>

namespace Tarnwick
{
namespace
{
// strftime with the format as a literal at each call, so the compiler checks it.
#define TW_STRFTIME(Tm, Format)                                             \
	[&] {                                                                    \
		char Buffer[64];                                                     \
		const size_t N = std::strftime(Buffer, sizeof(Buffer), Format, &Tm); \
		return std::string(Buffer, N);                                       \
	}()
}

std::string FormatUtc(double UtcSeconds)
{
	const std::time_t T = static_cast<std::time_t>(std::floor(UtcSeconds));
	std::tm Tm{};
	gmtime_r(&T, &Tm);
	return TW_STRFTIME(Tm, "%Y-%m-%dT%H:%M:%S");
}

std::string FormatMonotonicAsUtc(double MonotonicSeconds)
{
	if (MonotonicSeconds <= 0.0)
	{
		return "never";
	}
	const Host::IPlatformClock& Clock = Host::GetClock();
	const double Age = Clock.Seconds() - MonotonicSeconds;
	return FormatUtc(Clock.UtcNow() - Age);
}

std::string FormatLocalHms(double UtcSeconds)
{
	const std::time_t T = static_cast<std::time_t>(std::floor(UtcSeconds));
	std::tm Tm{};
	localtime_r(&T, &Tm);
	return TW_STRFTIME(Tm, "%H%M%S");
}

std::string FormatLocalStamp(double UtcSeconds)
{
	const std::time_t T = static_cast<std::time_t>(std::floor(UtcSeconds));
	std::tm Tm{};
	localtime_r(&T, &Tm);
	return TW_STRFTIME(Tm, "%Y%m%d_%H%M%S");
}
}
