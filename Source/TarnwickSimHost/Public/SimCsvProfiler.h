// The simulated editor's CSV profiler (FCsvProfiler): the frame loop tells it where each frame begins and
// ends, with what the frame cost; a capture writes one row per frame to its file as the frame ends, and the
// trailer when the capture ends. Captures start at the beginning of a frame and end at the end of one, as the
// engine's do. Game thread only; docs/profiling.md describes the file.
#pragma once
#include "CsvProfiler.h"
#include "SimCsvFormat.h"

#include <fstream>
#include <future>
#include <string>

namespace Tarnwick::Sim
{
class FSimCsvProfiler final : public FCsvProfiler
{
public:
	/** ProjectName and ClockName go into each file's metadata. */
	FSimCsvProfiler(std::string ProjectName, std::string ClockName);
	/** A capture still running is ended and its file completed. */
	~FSimCsvProfiler() override;

	bool IsCapturing() const override { return State == EState::Capturing; }
	void BeginCapture(int32 NumFramesToCapture, const std::string& DestFolder, const std::string& Filename) override;
	std::shared_future<std::string> EndCapture() override;

	/** The frame loop, at the start of frame FrameNumber: a requested capture starts here. */
	void BeginFrame(uint64 FrameNumber);
	/** The frame loop, at the end of the frame: a capture writes the frame's row and ends when asked or done. */
	void EndFrame(const FSimFrameStats& Stats);

	/** The file of the running capture, or of the last one; "" before any. */
	const std::string& GetFilePath() const { return Path; }
	int64 GetRowsWritten() const { return Rows; }

private:
	enum class EState : uint8
	{
		Idle,
		Requested,
		Capturing,
	};
	void Start(uint64 FrameNumber);
	void Finish();

	std::string ProjectName;
	std::string ClockName;
	EState State = EState::Idle;
	int32 RequestedFrames = -1;
	std::string RequestedFolder;
	std::string RequestedFilename;
	bool bEndRequested = false;
	int32 FramesLeft = -1;
	std::ofstream File;
	std::string Path;
	int64 Rows = 0;
	double StartUtc = 0.0;
	std::promise<std::string> Promise;
	std::shared_future<std::string> Future;
};
}
