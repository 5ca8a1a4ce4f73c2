#include "SimTrace.h"

#include "Paths.h"
#include "PlatformTime.h"
#include "SimReflectionRules.h"

#include <algorithm>
#include <filesystem>

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogTrace("LogTrace");

/** The channels this build records, in the engine's spelling. */
constexpr const char* Recorded[] = {"Frame", "Log", "Bookmark"};
/** The engine's default set. */
constexpr const char* DefaultSet[] = {"CPU", "GPU", "Frame", "Log", "Bookmark", "Screenshot", "Region"};
/** Channels the engine has that this build does not record, in the engine's spelling. */
constexpr const char* KnownElsewhere[] = {"CPU", "GPU", "Screenshot", "Region", "LoadTime", "AssetLoadTime", "File", "Net",
	"Memory", "Counters", "Stats", "Task", "Object", "Animation", "RDG", "RHICommands", "RenderCommands"};

std::string Lower(std::string_view S)
{
	std::string Out(S);
	for (char& C : Out) C = static_cast<char>(C >= 'A' && C <= 'Z' ? C - 'A' + 'a' : C);
	return Out;
}

std::string Trim(std::string_view S)
{
	const size_t B = S.find_first_not_of(" \t");
	if (B == std::string_view::npos) return std::string();
	const size_t E = S.find_last_not_of(" \t");
	return std::string(S.substr(B, E - B + 1));
}

std::string EventLine(FSimJson Event) { return Event.dump(-1, ' ', false, nlohmann::detail::error_handler_t::replace) + "\n"; }
}

FTraceChannelSelection ParseTraceChannels(const std::string& Channels)
{
	FTraceChannelSelection Out;
	auto Add = [&](const std::string& Name) {
		const std::string Key = Lower(Name);
		std::string Spelled = Name;
		bool bRecorded = false;
		for (const char* R : Recorded)
		{
			if (Lower(R) == Key) Spelled = R, bRecorded = true;
		}
		for (const char* K : KnownElsewhere)
		{
			if (Lower(K) == Key) Spelled = K;
		}
		std::vector<std::string>& List = bRecorded ? Out.Enabled : Out.Unavailable;
		if (std::find(List.begin(), List.end(), Spelled) == List.end()) List.push_back(Spelled);
	};
	size_t Pos = 0;
	while (Pos <= Channels.size())
	{
		const size_t Comma = std::min(Channels.find(',', Pos), Channels.size());
		const std::string Name = Trim(std::string_view(Channels).substr(Pos, Comma - Pos));
		if (Lower(Name) == "default")
		{
			for (const char* D : DefaultSet) Add(D);
		}
		else if (!Name.empty())
		{
			Add(Name);
		}
		Pos = Comma + 1;
	}
	return Out;
}

std::string ResolveTraceFile(const std::string& Target, const std::string& ProjectSavedDir)
{
	namespace fs = std::filesystem;
	fs::path P(Target);
	if (P.is_relative()) P = fs::path(ProjectSavedDir) / "Profiling" / P;
	if (!P.has_extension()) P += ".utrace";
	return P.lexically_normal().string();
}

FSimTrace::~FSimTrace()
{
	if (IsConnected()) Stop();
}

bool FSimTrace::Start(const std::string& Target, const std::string& InChannels)
{
	namespace fs = std::filesystem;
	if (IsConnected())
	{
		TW_LOG(LogTrace, Warning, "Trace not started: already connected to %s", GetTraceDestinationString().c_str());
		return false;
	}
	if (Target.empty())
	{
		TW_LOG(LogTrace, Error, "Trace not started: no file was named");
		return false;
	}
	const std::string Path = ResolveTraceFile(Target, FPaths::ProjectSavedDir());
	const FTraceChannelSelection Selection = ParseTraceChannels(InChannels);
	std::error_code Ec;
	fs::create_directories(fs::path(Path).parent_path(), Ec);
	std::ofstream Out(Path, std::ios::binary | std::ios::trunc);
	if (Ec || !Out)
	{
		TW_LOG(LogTrace, Error, "Trace not started: could not open %s for writing", Path.c_str());
		return false;
	}
	{
		std::lock_guard Lock(Mutex);
		File = std::move(Out);
		Destination = Path;
		Channels = Selection.Enabled;
		StartSeconds = FPlatformTime::Seconds();
		Events = 0;
		FSimJson Header = FSimJson::object();
		Header["format"] = "tarnwick-trace";
		Header["version"] = 1;
		Header["start_utc"] = Tarnwick::Host::GetClock().UtcNow();
		Header["channels"] = Selection.Enabled;
		Header["unavailable_channels"] = Selection.Unavailable;
		WriteLocked(EventLine(std::move(Header)));
		bConnected = true;
	}
	std::string Joined;
	for (const std::string& C : Selection.Enabled) Joined += (Joined.empty() ? "" : ",") + C;
	TW_LOG(LogTrace, Display, "Tracing to file %s (channels: %s)", Path.c_str(), Joined.empty() ? "none" : Joined.c_str());
	for (const std::string& C : Selection.Unavailable) TW_LOG(LogTrace, Warning, "Trace channel '%s' is not recorded by this build", C.c_str());
	// Added last and outside the lock: a line logged on another thread takes the redirector's lock, then ours.
	if (HasChannel("Log")) GLog->AddOutputDevice(&LogChannel);
	return true;
}

bool FSimTrace::Stop()
{
	if (!IsConnected()) return false;
	GLog->RemoveOutputDevice(&LogChannel);
	std::string Path;
	{
		std::lock_guard Lock(Mutex);
		FSimJson End = FSimJson::object();
		End["t"] = FPlatformTime::Seconds() - StartSeconds;
		End["event"] = "end";
		End["events"] = Events;
		WriteLocked(EventLine(std::move(End)));
		File.close();
		bConnected = false;
		Path = Destination;
	}
	TW_LOG(LogTrace, Display, "Trace stopped: %s", Path.c_str());
	return true;
}

bool FSimTrace::IsConnected() const
{
	std::lock_guard Lock(Mutex);
	return bConnected;
}

std::string FSimTrace::GetTraceDestinationString() const
{
	std::lock_guard Lock(Mutex);
	return bConnected ? Destination : std::string();
}

bool FSimTrace::HasChannel(const char* Name) const
{
	return std::find(Channels.begin(), Channels.end(), Name) != Channels.end();
}

void FSimTrace::WriteLocked(const std::string& Line)
{
	File << Line;
	++Events;
}

void FSimTrace::OutputBookmark(const std::string& Text)
{
	std::lock_guard Lock(Mutex);
	if (!bConnected || !HasChannel("Bookmark")) return;
	WriteLocked(EventLine(FSimJson{{"t", FPlatformTime::Seconds() - StartSeconds}, {"event", "bookmark"}, {"name", Text}}));
}

void FSimTrace::OnFrameBegin(uint64 FrameNumber)
{
	std::lock_guard Lock(Mutex);
	if (!bConnected || !HasChannel("Frame")) return;
	WriteLocked(EventLine(FSimJson{{"t", FPlatformTime::Seconds() - StartSeconds}, {"event", "frame_begin"}, {"frame", FrameNumber}}));
}

void FSimTrace::OnFrameEnd(uint64 FrameNumber)
{
	std::lock_guard Lock(Mutex);
	if (!bConnected || !HasChannel("Frame")) return;
	WriteLocked(EventLine(FSimJson{{"t", FPlatformTime::Seconds() - StartSeconds}, {"event", "frame_end"}, {"frame", FrameNumber}}));
}

void FSimTrace::FLogChannel::Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double Time)
{
	std::lock_guard Lock(Owner.Mutex);
	if (!Owner.bConnected) return;
	Owner.WriteLocked(EventLine(FSimJson{{"t", Time - Owner.StartSeconds}, {"event", "log"}, {"category", std::string(Category)},
		{"verbosity", ToString(Verbosity)}, {"message", std::string(Message)}}));
}
}
