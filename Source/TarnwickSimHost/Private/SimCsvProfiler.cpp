#include "SimCsvProfiler.h"

#include "Logging.h"
#include "Paths.h"
#include "PlatformTime.h"
#include "Printf.h"

#include <cmath>
#include <ctime>
#include <filesystem>

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogCsvProfiler("LogCsvProfiler");

std::shared_future<std::string> Ready(std::string Value)
{
	std::promise<std::string> P;
	P.set_value(std::move(Value));
	return P.get_future().share();
}

std::string UtcStamp(double UtcSeconds)
{
	const std::time_t T = static_cast<std::time_t>(std::floor(UtcSeconds));
	std::tm Tm{};
	gmtime_r(&T, &Tm);
	char Buffer[32];
	std::strftime(Buffer, sizeof(Buffer), "%Y%m%d_%H%M%S", &Tm);
	return Buffer;
}
}

FSimCsvProfiler::FSimCsvProfiler(std::string InProjectName, std::string InClockName)
	: ProjectName(std::move(InProjectName)), ClockName(std::move(InClockName))
{
}

FSimCsvProfiler::~FSimCsvProfiler()
{
	if (State == EState::Capturing) Finish();
}

void FSimCsvProfiler::BeginCapture(int32 NumFramesToCapture, const std::string& DestFolder, const std::string& Filename)
{
	if (State != EState::Idle)
	{
		TW_LOG(LogCsvProfiler, Warning, "BeginCapture ignored: a capture is already %s", State == EState::Capturing ? "running" : "requested");
		return;
	}
	State = EState::Requested;
	RequestedFrames = NumFramesToCapture;
	RequestedFolder = DestFolder;
	RequestedFilename = Filename;
	bEndRequested = false;
}

std::shared_future<std::string> FSimCsvProfiler::EndCapture()
{
	if (State == EState::Requested)
	{
		// Asked to end before its first frame: nothing was captured and no file is written.
		State = EState::Idle;
		TW_LOG(LogCsvProfiler, Display, "Capture cancelled before its first frame");
		return Ready(std::string());
	}
	if (State == EState::Idle) return Ready(std::string());
	bEndRequested = true;
	return Future;
}

void FSimCsvProfiler::BeginFrame(uint64 FrameNumber)
{
	if (State == EState::Requested) Start(FrameNumber);
}

void FSimCsvProfiler::Start(uint64 FrameNumber)
{
	namespace fs = std::filesystem;
	StartUtc = Tarnwick::Host::GetClock().UtcNow();
	fs::path Folder = RequestedFolder.empty() ? fs::path(FPaths::ProjectSavedDir()) / "Profiling" / "CSV" : fs::path(RequestedFolder);
	if (Folder.is_relative()) Folder = fs::path(FPaths::ProjectDir()) / Folder;
	const std::string Name = RequestedFilename.empty() ? "Profile(" + UtcStamp(StartUtc) + ").csv" : RequestedFilename;
	const fs::path Target = (Folder / Name).lexically_normal();
	std::error_code Ec;
	fs::create_directories(Folder, Ec);
	File = std::ofstream(Target, std::ios::binary | std::ios::trunc);
	if (Ec || !File)
	{
		TW_LOG(LogCsvProfiler, Error, "Capture not started: could not open %s for writing", Target.string().c_str());
		File = std::ofstream();
		State = EState::Idle;
		return;
	}
	Path = Target.string();
	Rows = 0;
	FramesLeft = RequestedFrames;
	Promise = std::promise<std::string>();
	Future = Promise.get_future().share();
	State = EState::Capturing;
	File << SimCsv::HeaderRow();
	TW_LOG(LogCsvProfiler, Display, "Capture Starting: frame %llu, %s", static_cast<unsigned long long>(FrameNumber), Path.c_str());
}

void FSimCsvProfiler::EndFrame(const FSimFrameStats& Stats)
{
	if (State != EState::Capturing) return;
	File << SimCsv::StatsRow(Stats);
	++Rows;
	if (FramesLeft > 0) --FramesLeft;
	if (bEndRequested || FramesLeft == 0) Finish();
}

void FSimCsvProfiler::Finish()
{
	const double EndUtc = Tarnwick::Host::GetClock().UtcNow();
	File << SimCsv::HeaderRow();
	File << SimCsv::MetadataRow({{"HasHeaderRowAtEnd", "1"}, {"platform", "Linux"}, {"config", "Development"},
		{"engine", "TarnwickSimHost"}, {"project", ProjectName}, {"clock", ClockName},
		{"starttimestamp", Tarnwick::Printf("%lld", static_cast<long long>(std::floor(StartUtc)))},
		{"endtimestamp", Tarnwick::Printf("%lld", static_cast<long long>(std::floor(EndUtc)))},
		{"framecount", Tarnwick::Printf("%lld", static_cast<long long>(Rows))}});
	File.close();
	State = EState::Idle;
	bEndRequested = false;
	TW_LOG(LogCsvProfiler, Display, "Capture Ended. Writing CSV to file : %s (%lld frames)", Path.c_str(), static_cast<long long>(Rows));
	Promise.set_value(Path);
}
}
