// The simulated Unreal editor as one object: it loads a project folder, installs itself as the host (GEditor,
// the object system, quiescence, the engine loop, the render thread and, in virtual mode, the clock) and runs
// the frame loop. The executable creates one and runs it until asked to stop; tests create one on the
// virtual clock and step frames. Only one may exist at a time in a process.
//
// Each frame, on the game thread: queued game-thread tasks (MCP calls), the editor (PIE end
// and start requests, PIE loading, the worlds' ticks), the core ticker, the viewports, the quiescence countdown, a flush of the
// render thread when it has work, and the release of destroyed objects. In real-time mode frames are paced at
// the target rate and tasks run as soon as they arrive between frames; in virtual mode frames run back to back
// with a fixed delta, and the clock advances by exactly that delta per frame.
#pragma once
#include "FrameLoop.h"
#include "PlatformTime.h"
#include "SimCsvProfiler.h"
#include "SimEditor.h"
#include "SimObjects.h"
#include "SimProjectFormat.h"
#include "SimPythonPlugin.h"
#include "SimQuiescence.h"
#include "SimRenderThread.h"
#include "SimTrace.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Tarnwick::Sim
{
enum class ESimClockMode : uint8
{
	Realtime,
	Virtual,
};

/** "realtime" or "virtual" (case-sensitive); false for anything else. */
bool ParseClockMode(const std::string& Text, ESimClockMode& OutMode);

struct FSimHostOptions
{
	/** The folder holding the .uproject. */
	std::string ProjectDir = "Samples/Arena";
	ESimClockMode ClockMode = ESimClockMode::Realtime;
	/** Real-time mode: frames per second. */
	double TargetFrameRate = 60.0;
	/** Virtual mode: seconds per frame. */
	double FixedDeltaSeconds = 1.0 / 60.0;
	/** Virtual mode: UTC seconds at the first frame; 0 takes the system's time at start-up. */
	double VirtualUtcStart = 0.0;
	/** The map opened at start-up; empty: the project's EditorStartupMap. "none" opens an untitled world. */
	std::string StartupMap;
	/** Overrides the project's PIELoadFrames when 0 or more. */
	int32 PIELoadFrames = -1;
	/** When more than 0, a modal dialog nobody answers closes itself with "No" after this many frames, as an
	 *  unattended editor's would; 0 leaves it open (the loop then waits, as the engine's does for a person). */
	int32 ModalTimeoutFrames = 0;
	/** An editor without a visible window (a build machine's): viewports keep their sizes but are never drawn,
	 *  so they read back black. */
	bool bHiddenEditor = false;
	/** Start the Python interpreter while the editor starts, as the engine does, instead of on the first command
	 *  (which then pays the start). Only with the Python plug-in loaded and Python in the build. */
	bool bStartPythonAtLaunch = false;
};

/** The virtual clock: monotonic seconds advance only when the frame loop says so. Any thread may read it. */
class FSimVirtualClock final : public Tarnwick::Host::IPlatformClock
{
public:
	FSimVirtualClock(double InStartSeconds, double InUtcStart) : Now(InStartSeconds), Start(InStartSeconds), UtcStart(InUtcStart) {}
	double Seconds() const override { return Now.load(std::memory_order_acquire); }
	double UtcNow() const override { return UtcStart + (Seconds() - Start); }
	/** Nothing waits on the virtual clock: a sleep moves its time on by that much, without running a frame. */
	void Sleep(double DeltaSeconds) const override
	{
		if (DeltaSeconds > 0.0) Advance(DeltaSeconds);
	}
	void Advance(double DeltaSeconds) const { Now.store(Now.load(std::memory_order_relaxed) + DeltaSeconds, std::memory_order_release); }

private:
	mutable std::atomic<double> Now;
	double Start;
	double UtcStart;
};

/** A loaded project: its descriptor and its Config ini files by name ("DefaultEngine"). */
struct FSimProject
{
	std::string Dir; // absolute, with a trailing '/'
	FProjectDescriptor Descriptor;
	std::vector<std::pair<std::string, FIniFile>> Configs;

	const FIniFile* FindConfig(const std::string& Name) const;
};

/** Reads the project folder: exactly one .uproject, the ini files of Config (in name order), and a Content/ folder. */
std::optional<FSimProject> LoadProject(const std::string& ProjectDir, std::string* OutError);

class FSimHost final : public IEngineLoop
{
public:
	/** Loads the project and installs the host. Null with OutError on failure (nothing is left installed). */
	static std::unique_ptr<FSimHost> Create(const FSimHostOptions& Options, std::string* OutError);
	~FSimHost() override;

	/** Runs frames until bStop becomes true (checked between frames and while waiting for the next one). */
	void Run(const std::atomic<bool>& bStop);
	/** As above, until ShouldStop returns true (called on the game thread, between frames and while waiting). */
	void Run(const std::function<bool()>& ShouldStop);
	/** Runs one frame now (virtual: advances the clock by the fixed delta first). */
	void StepFrame();
	void StepFrames(int32 Count);
	/** Steps until Condition holds (checked before each frame); false if MaxFrames ran without it. */
	bool StepUntil(const std::function<bool()>& Condition, int32 MaxFrames);

	// IEngineLoop
	uint64 GetFrameCounter() const override { return FrameCounter.load(std::memory_order_relaxed); }
	double GetDeltaTime() const override { return DeltaTime; }
	bool HasFocus() const override { return bHasFocus; }

	// Test API: state and levers that MCP never sees.
	FSimEditor& GetEditor() { return *Editor; }
	FSimObjectRegistry& GetObjects() { return *Registry; }
	FSimQuiescence& GetQuiescence() { return *Quiescence; }
	FSimRenderThread& GetRenderThread() { return *RenderThread; }
	FSimCsvProfiler& GetCsvProfiler() { return *CsvProfiler; }
	FSimTrace& GetTrace() { return *Trace; }
	const FSimProject& GetProject() const { return Project; }
	const FSimHostOptions& GetOptions() const { return Options; }
	void SetHasFocus(bool bFocus) { bHasFocus = bFocus; }
	/**
	 * Without the user's focus and with the editor's "Use Less CPU when in Background" preference
	 * (UEditorPerformanceSettings::bThrottleCPUWhenNotForeground) the editor draws no viewports and, in real-time
	 * mode, runs BackgroundFrameRate frames per second.
	 */
	bool IsThrottled() const;
	static constexpr double BackgroundFrameRate = 3.0;
	/**
	 * A JSON dump of the observable state (worlds, actors with transforms, components and property values,
	 * loaded Blueprints, the frame counter and clock), used to compare runs.
	 */
	FSimJson DumpState() const;

private:
	FSimHost() = default;
	void Install();
	void Uninstall();

	FSimHostOptions Options;
	FSimProject Project;
	std::unique_ptr<FSimVirtualClock> VirtualClock;
	std::unique_ptr<FSimObjectRegistry> Registry;
	std::unique_ptr<FSimQuiescence> Quiescence;
	std::unique_ptr<FSimRenderThread> RenderThread;
	std::unique_ptr<FSimEditor> Editor;
	std::unique_ptr<FSimCsvProfiler> CsvProfiler;
	std::unique_ptr<FSimTrace> Trace;
	/** Loaded when the project enables the Python plug-in. */
	std::unique_ptr<FSimPythonPlugin> PythonPlugin;
	std::atomic<uint64> FrameCounter{0};
	double DeltaTime = 0.0;
	double LastFrameStart = -1.0;
	bool bHasFocus = true;
	bool bInstalled = false;
};
}
