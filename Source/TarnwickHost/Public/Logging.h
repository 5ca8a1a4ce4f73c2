// Logging as the engine does it: categories, verbosities, output devices and the global redirector (GLog).
//
// Any thread may log. The redirector hands each line to every registered device; devices that declare
// they cannot be used on any thread receive lines one caller at a time (the engine serialises them too).
// The line's time is the host clock's Seconds() at the moment of logging.
#pragma once
#include "HostTypes.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

namespace ELogVerbosity
{
enum Type : uint8
{
	NoLogging = 0,
	Fatal = 1,
	Error = 2,
	Warning = 3,
	Display = 4,
	Log = 5,
	Verbose = 6,
	VeryVerbose = 7,
	All = VeryVerbose,
	NumVerbosity = 8,
	VerbosityMask = 0xf,
};
}

/**
 * A named log category with a runtime verbosity filter (lines more verbose than it are dropped). Every live
 * category is listed by name, so that the console's "log <Category> <Verbosity>" can find it.
 */
class FLogCategory
{
public:
	FLogCategory(std::string InName, ELogVerbosity::Type InDefault = ELogVerbosity::Log);
	~FLogCategory();
	FLogCategory(const FLogCategory&) = delete;
	FLogCategory& operator=(const FLogCategory&) = delete;
	const std::string& GetName() const { return Name; }
	ELogVerbosity::Type GetVerbosity() const { return Verbosity.load(std::memory_order_relaxed); }
	void SetVerbosity(ELogVerbosity::Type V) { Verbosity.store(V, std::memory_order_relaxed); }
	bool IsSuppressed(ELogVerbosity::Type V) const { return V > GetVerbosity(); }

private:
	std::string Name;
	std::atomic<ELogVerbosity::Type> Verbosity;
};

/** A sink for log lines. */
class FOutputDevice
{
public:
	virtual ~FOutputDevice() = default;
	virtual void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double Time) = 0;
	/** False when the device must be called by one thread at a time. */
	virtual bool CanBeUsedOnAnyThread() const { return false; }
	virtual void Flush() {}

	/** Writes one line stamped with the host clock (the engine's FOutputDevice::Log). */
	void Log(std::string_view Category, ELogVerbosity::Type Verbosity, std::string_view Message);
};

/** Collects the lines it receives as text, one line each, "\n" between them (the engine's FStringOutputDevice). */
class FStringOutputDevice final : public FOutputDevice
{
public:
	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double Time) override;
	const std::string& GetText() const { return Text; }
	bool IsEmpty() const { return Text.empty(); }

private:
	std::string Text;
};

/** The global log: fans lines out to its devices. Thread-safe. */
class FOutputDeviceRedirector final : public FOutputDevice
{
public:
	static FOutputDeviceRedirector& Get();

	void AddOutputDevice(FOutputDevice* Device);
	void RemoveOutputDevice(FOutputDevice* Device);
	bool IsRedirectingTo(FOutputDevice* Device) const;
	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category);
	/** As the engine's GLog is, the redirector is itself an output device (commands may print into *GLog). */
	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double Time) override;
	bool CanBeUsedOnAnyThread() const override { return true; }
	void Flush() override;

private:
	mutable std::shared_mutex DevicesMutex;
	std::vector<FOutputDevice*> Devices;
	std::mutex SerialMutex; // one caller at a time into devices that are not thread-safe
};

/** Writes "[Category] Verbosity: message" lines to stderr; stdout stays free for protocol traffic. */
class FOutputDeviceStdErr final : public FOutputDevice
{
public:
	explicit FOutputDeviceStdErr(ELogVerbosity::Type InMaxVerbosity = ELogVerbosity::Log) : MaxVerbosity(InMaxVerbosity) {}
	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double Time) override;
	bool CanBeUsedOnAnyThread() const override { return true; }
	void SetMaxVerbosity(ELogVerbosity::Type V) { MaxVerbosity = V; }

private:
	std::mutex WriteMutex;
	ELogVerbosity::Type MaxVerbosity;
};

/** Capitalised verbosity name as the engine prints it ("Warning", "VeryVerbose"); "Unknown" otherwise. */
const char* ToString(ELogVerbosity::Type Verbosity);

#define GLog (&FOutputDeviceRedirector::Get())

#define TW_DECLARE_LOG_CATEGORY_EXTERN(Name) extern FLogCategory Name;
#define TW_DEFINE_LOG_CATEGORY(Name, Default) FLogCategory Name(#Name, ELogVerbosity::Default);

namespace Tarnwick::Host
{
/**
 * The live category of that name (compared without regard to case, as FNames are), or null. Several files may
 * each declare a category of the same name; SetLogCategoryVerbosity sets all of them.
 */
FLogCategory* FindLogCategory(std::string_view Name);
/** Sets the verbosity of every live category of that name; returns how many there were. */
int32 SetLogCategoryVerbosity(std::string_view Name, ELogVerbosity::Type Verbosity);
/** Every live category, ordered by name. */
std::vector<FLogCategory*> GetLogCategories();
/** The verbosity of a capitalised or lower-case name ("Warning", "verbose", "VeryVerbose"); false otherwise. */
bool ParseLogVerbosity(std::string_view Text, ELogVerbosity::Type& OutVerbosity);

void LogFormatted(const FLogCategory& Category, ELogVerbosity::Type Verbosity, const char* Format, ...)
#if defined(__GNUC__)
	__attribute__((format(printf, 3, 4)))
#endif
	;
}

/** UE_LOG's counterpart: printf-style, filtered by the category's verbosity before formatting. */
#define TW_LOG(Category, Verbosity, ...)                                                     \
	do                                                                                       \
	{                                                                                        \
		if (!(Category).IsSuppressed(ELogVerbosity::Verbosity))                               \
		{                                                                                    \
			::Tarnwick::Host::LogFormatted((Category), ELogVerbosity::Verbosity, __VA_ARGS__); \
		}                                                                                    \
	} while (0)
