// The engine's CSV profiler, FCsvProfiler: per-frame statistics written to a CSV file, one row per frame.
//
// A capture asked for with BeginCapture starts with the next frame; EndCapture ends it with the frame it was
// asked in (or, between frames, the next one), and the file is complete only then: the future EndCapture returns
// holds the file's full path once it is written. IsCapturing is true from the first captured frame to the last.
// Get() is null in a build without the profiler.
//
// The host installs its profiler with SetCsvProfiler. Game thread only.
#pragma once
#include "HostTypes.h"

#include <future>
#include <string>

class FCsvProfiler
{
public:
	virtual ~FCsvProfiler() = default;

	/** The profiler, or null when this build has none. */
	static FCsvProfiler* Get();

	virtual bool IsCapturing() const = 0;
	/**
	 * Asks for a capture of NumFramesToCapture frames (-1: until EndCapture) into DestFolder (empty: the project's
	 * Saved/Profiling/CSV) under Filename (empty: "Profile(<date>_<time>).csv"). Ignored, with a warning in the
	 * log, while a capture runs or is already asked for.
	 */
	virtual void BeginCapture(int32 NumFramesToCapture = -1, const std::string& DestFolder = std::string(),
		const std::string& Filename = std::string()) = 0;
	/**
	 * Asks the running capture to end. The future becomes ready, with the CSV file's full path, once the last row
	 * and the trailer are written; it holds "" when no capture was running.
	 */
	virtual std::shared_future<std::string> EndCapture() = 0;
};

namespace Tarnwick::Host
{
/** Installs the profiler (not owned; null: FCsvProfiler::Get() answers null). */
void SetCsvProfiler(FCsvProfiler* Profiler);
}
