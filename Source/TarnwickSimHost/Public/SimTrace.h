// The simulated editor's trace (FTraceAuxiliary): a file connection that records the enabled channels, one JSON
// event per line: Frame (begin and end of every frame), Log (every log line, from any thread) and Bookmark
// (FMiscTrace bookmarks). docs/profiling.md documents the file.
//
// Start, Stop and the frame events on the game thread; log lines and bookmarks from any thread.
#pragma once
#include "Logging.h"
#include "TraceAuxiliary.h"

#include <fstream>
#include <mutex>
#include <string>
#include <vector>

namespace Tarnwick::Sim
{
/** The channels a trace was asked for: those this build records (canonical names) and those it does not. */
struct FTraceChannelSelection
{
	std::vector<std::string> Enabled;
	std::vector<std::string> Unavailable;
};

/**
 * Splits a comma-separated channel list. Names compare without case and come back in the engine's spelling;
 * "default" stands for the engine's default set (CPU, GPU, Frame, Log, Bookmark, Screenshot, Region). Repeats
 * are dropped; empty entries are ignored.
 */
FTraceChannelSelection ParseTraceChannels(const std::string& Channels);

/** A relative target is under <project>/Saved/Profiling; ".utrace" is added when the name has no extension. */
std::string ResolveTraceFile(const std::string& Target, const std::string& ProjectSavedDir);

class FSimTrace final : public ITraceAuxiliary
{
public:
	FSimTrace() = default;
	/** A connected trace is stopped and its file closed. */
	~FSimTrace() override;

	bool Start(const std::string& Target, const std::string& Channels) override;
	bool Stop() override;
	bool IsConnected() const override;
	std::string GetTraceDestinationString() const override;
	void OutputBookmark(const std::string& Text) override;

	/** The frame loop's frame events. */
	void OnFrameBegin(uint64 FrameNumber);
	void OnFrameEnd(uint64 FrameNumber);

private:
	class FLogChannel final : public FOutputDevice
	{
	public:
		explicit FLogChannel(FSimTrace& InOwner) : Owner(InOwner) {}
		void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double Time) override;
		bool CanBeUsedOnAnyThread() const override { return true; }

	private:
		FSimTrace& Owner;
	};

	bool HasChannel(const char* Name) const;
	/** Appends one event line; the caller holds Mutex. */
	void WriteLocked(const std::string& Line);

	mutable std::mutex Mutex;
	bool bConnected = false;
	std::ofstream File;
	std::string Destination;
	std::vector<std::string> Channels;
	double StartSeconds = 0.0;
	uint64 Events = 0;
	FLogChannel LogChannel{*this};
};
}
