// Tracing, the engine's FTraceAuxiliary (start and stop a trace connection) and FMiscTrace bookmarks.
//
// A trace records the events of the enabled channels to one destination: a file here (network connections
// belong to a trace server this host does not have). Channels are named case-insensitively, comma-separated.
// Without an installed trace facility nothing connects: Start answers false and IsConnected false.
//
// The host installs its facility with SetTraceAuxiliary. Start, Stop and IsConnected on the game thread;
// bookmarks from any thread.
#pragma once
#include <string>

class ITraceAuxiliary
{
public:
	virtual ~ITraceAuxiliary() = default;
	virtual bool Start(const std::string& Target, const std::string& Channels) = 0;
	virtual bool Stop() = 0;
	virtual bool IsConnected() const = 0;
	virtual std::string GetTraceDestinationString() const = 0;
	virtual void OutputBookmark(const std::string& Text) = 0;
};

namespace Tarnwick::Host
{
/** Installs the trace facility (not owned; null removes it). */
void SetTraceAuxiliary(ITraceAuxiliary* Trace);
}

class FTraceAuxiliary
{
public:
	enum class EConnectionType
	{
		/** To a trace server at Target (host[:port]). */
		Network,
		/** To the file Target; a relative path is under the project's Saved/Profiling, ".utrace" is added when missing. */
		File,
		None,
	};

	/**
	 * Connects a trace and enables Channels on it. False when a trace is already connected, the connection type
	 * is not available, or the destination cannot be opened.
	 */
	static bool Start(EConnectionType Type, const std::string& Target, const std::string& Channels);
	/** Ends the connected trace; false when none was connected. */
	static bool Stop();
	static bool IsConnected();
	/** The connected trace's destination (the file's full path), "" when none. */
	static std::string GetTraceDestinationString();
};

/** Bookmarks: a named point in time on the trace's Bookmark channel (the engine's TRACE_BOOKMARK). */
struct FMiscTrace
{
	static void OutputBookmark(const std::string& Text);
};
