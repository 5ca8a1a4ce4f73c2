#include "Logging.h"

#include "PlatformTime.h"
#include "Printf.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

FOutputDeviceRedirector& FOutputDeviceRedirector::Get()
{
	static FOutputDeviceRedirector Instance;
	return Instance;
}

void FOutputDeviceRedirector::AddOutputDevice(FOutputDevice* Device)
{
	if (!Device) return;
	std::unique_lock Lock(DevicesMutex);
	if (std::find(Devices.begin(), Devices.end(), Device) == Devices.end())
	{
		Devices.push_back(Device);
	}
}

void FOutputDeviceRedirector::RemoveOutputDevice(FOutputDevice* Device)
{
	std::unique_lock Lock(DevicesMutex);
	Devices.erase(std::remove(Devices.begin(), Devices.end(), Device), Devices.end());
}

bool FOutputDeviceRedirector::IsRedirectingTo(FOutputDevice* Device) const
{
	std::shared_lock Lock(DevicesMutex);
	return std::find(Devices.begin(), Devices.end(), Device) != Devices.end();
}

void FOutputDeviceRedirector::Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category)
{
	Serialize(Message, Verbosity, Category, FPlatformTime::Seconds());
}

void FOutputDeviceRedirector::Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double Time)
{
	// Devices are removed only under the unique lock, so holding the shared lock keeps each one alive for the call.
	std::shared_lock Lock(DevicesMutex);
	for (FOutputDevice* Device : Devices)
	{
		if (Device->CanBeUsedOnAnyThread())
		{
			Device->Serialize(Message, Verbosity, Category, Time);
		}
		else
		{
			std::lock_guard Serial(SerialMutex);
			Device->Serialize(Message, Verbosity, Category, Time);
		}
	}
}

void FOutputDeviceRedirector::Flush()
{
	std::shared_lock Lock(DevicesMutex);
	for (FOutputDevice* Device : Devices)
	{
		Device->Flush();
	}
}

void FOutputDeviceStdErr::Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double)
{
	if (Verbosity > MaxVerbosity) return;
	std::lock_guard Lock(WriteMutex);
	if (Verbosity == ELogVerbosity::Log || Verbosity == ELogVerbosity::Display)
	{
		std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(Category.size()), Category.data(),
			static_cast<int>(Message.size()), Message.data());
	}
	else
	{
		std::fprintf(stderr, "%.*s: %s: %.*s\n", static_cast<int>(Category.size()), Category.data(), ToString(Verbosity),
			static_cast<int>(Message.size()), Message.data());
	}
}

const char* ToString(ELogVerbosity::Type Verbosity)
{
	switch (Verbosity & ELogVerbosity::VerbosityMask)
	{
	case ELogVerbosity::Fatal: return "Fatal";
	case ELogVerbosity::Error: return "Error";
	case ELogVerbosity::Warning: return "Warning";
	case ELogVerbosity::Display: return "Display";
	case ELogVerbosity::Log: return "Log";
	case ELogVerbosity::Verbose: return "Verbose";
	case ELogVerbosity::VeryVerbose: return "VeryVerbose";
	default: return "Unknown";
	}
}

namespace Tarnwick::Host
{
void LogFormatted(const FLogCategory& Category, ELogVerbosity::Type Verbosity, const char* Format, ...)
{
	va_list Args;
	va_start(Args, Format);
	const std::string Message = Tarnwick::VPrintf(Format, Args);
	va_end(Args);
	GLog->Serialize(Message, Verbosity, Category.GetName());
}
}
