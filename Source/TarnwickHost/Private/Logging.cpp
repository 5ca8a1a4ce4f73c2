#include "Logging.h"

#include "PlatformTime.h"
#include "Printf.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <map>

namespace
{
std::string LowerName(std::string_view Name)
{
	std::string Out(Name);
	for (char& C : Out) C = static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
	return Out;
}

/** Live categories by lower-case name. A function-local static: categories are globals of many files. */
struct FLogCategoryList
{
	std::mutex Mutex;
	std::multimap<std::string, FLogCategory*> ByName;
};

FLogCategoryList& GetCategoryList()
{
	static FLogCategoryList List;
	return List;
}
}

FLogCategory::FLogCategory(std::string InName, ELogVerbosity::Type InDefault) : Name(std::move(InName)), Verbosity(InDefault)
{
	FLogCategoryList& List = GetCategoryList();
	std::lock_guard Lock(List.Mutex);
	List.ByName.emplace(LowerName(Name), this);
}

FLogCategory::~FLogCategory()
{
	FLogCategoryList& List = GetCategoryList();
	std::lock_guard Lock(List.Mutex);
	for (auto It = List.ByName.begin(); It != List.ByName.end(); ++It)
	{
		if (It->second == this)
		{
			List.ByName.erase(It);
			break;
		}
	}
}

void FOutputDevice::Log(std::string_view Category, ELogVerbosity::Type Verbosity, std::string_view Message)
{
	Serialize(Message, Verbosity, Category, FPlatformTime::Seconds());
}

void FStringOutputDevice::Serialize(std::string_view Message, ELogVerbosity::Type, std::string_view, double)
{
	if (!Text.empty()) Text.push_back('\n');
	Text.append(Message);
}

FOutputDeviceRedirector& FOutputDeviceRedirector::Get()
{
	static FOutputDeviceRedirector Instance;
	return Instance;
}

void FOutputDeviceRedirector::AddOutputDevice(FOutputDevice* Device)
{
	if (!Device || Device == this) return;
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
FLogCategory* FindLogCategory(std::string_view Name)
{
	FLogCategoryList& List = GetCategoryList();
	std::lock_guard Lock(List.Mutex);
	const auto It = List.ByName.find(LowerName(Name));
	return It == List.ByName.end() ? nullptr : It->second;
}

int32 SetLogCategoryVerbosity(std::string_view Name, ELogVerbosity::Type Verbosity)
{
	FLogCategoryList& List = GetCategoryList();
	std::lock_guard Lock(List.Mutex);
	int32 Count = 0;
	const auto Range = List.ByName.equal_range(LowerName(Name));
	for (auto It = Range.first; It != Range.second; ++It)
	{
		It->second->SetVerbosity(Verbosity);
		++Count;
	}
	return Count;
}

std::vector<FLogCategory*> GetLogCategories()
{
	FLogCategoryList& List = GetCategoryList();
	std::lock_guard Lock(List.Mutex);
	std::vector<FLogCategory*> Out;
	for (const auto& [Key, Category] : List.ByName) Out.push_back(Category);
	return Out;
}

bool ParseLogVerbosity(std::string_view Text, ELogVerbosity::Type& OutVerbosity)
{
	const std::string Lower = LowerName(Text);
	static const std::pair<const char*, ELogVerbosity::Type> Names[] = {{"fatal", ELogVerbosity::Fatal}, {"error", ELogVerbosity::Error},
		{"warning", ELogVerbosity::Warning}, {"display", ELogVerbosity::Display}, {"log", ELogVerbosity::Log},
		{"verbose", ELogVerbosity::Verbose}, {"veryverbose", ELogVerbosity::VeryVerbose}, {"very_verbose", ELogVerbosity::VeryVerbose},
		{"nologging", ELogVerbosity::NoLogging}};
	for (const auto& [Name, Verbosity] : Names)
	{
		if (Lower == Name)
		{
			OutVerbosity = Verbosity;
			return true;
		}
	}
	return false;
}

void LogFormatted(const FLogCategory& Category, ELogVerbosity::Type Verbosity, const char* Format, ...)
{
	va_list Args;
	va_start(Args, Format);
	const std::string Message = Tarnwick::VPrintf(Format, Args);
	va_end(Args);
	GLog->Serialize(Message, Verbosity, Category.GetName());
}
}
