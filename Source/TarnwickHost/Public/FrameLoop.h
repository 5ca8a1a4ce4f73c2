// The engine loop as the modules see it: the frame counter (GFrameCounter), the frame's delta time
// (FApp::GetDeltaTime) and whether the editor has the user's focus (FApp::HasFocus).
//
// The loop itself belongs to the host: each frame it runs the game thread's queued tasks
// (FGameThreadTaskQueue::RunPending), ticks the core ticker (FTSTicker), ticks the worlds and draws the
// viewports. Modules never pump frames; they read these values from tickers and handlers. The host installs
// its loop with SetEngineLoop. Game thread only, except GetFrameCounter, which any thread may read.
#pragma once
#include "HostTypes.h"

class IEngineLoop
{
public:
	virtual ~IEngineLoop() = default;
	/** Frames begun since start-up; the first frame is 1. */
	virtual uint64 GetFrameCounter() const = 0;
	/** Real (undilated) seconds of the current frame. */
	virtual double GetDeltaTime() const = 0;
	virtual bool HasFocus() const = 0;
};

namespace Tarnwick::Host
{
void SetEngineLoop(IEngineLoop* Loop);
IEngineLoop* GetEngineLoop();
}

/** The engine's FApp statics over the installed loop (0, 0 and true when none is installed). */
struct FApp
{
	static uint64 GetFrameCounter();
	static double GetDeltaTime();
	static bool HasFocus();
};
