// The simulated render thread: a real second thread that runs render commands in order, as the engine's
// does. It rasterises viewport frames when they are read back, logs what the engine's render thread logs (RHI
// start, render-target reallocation on resize) and runs the ensure handler for ensures fired on it, so that log
// capture and the ensure filter see genuine cross-thread traffic. The frame loop flushes it at the end of every frame in which
// commands were enqueued, which keeps the order of its log lines deterministic.
#pragma once
#include "RenderingThread.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace Tarnwick::Sim
{
class FSimRenderThread final : public IRenderingThread
{
public:
	FSimRenderThread();
	~FSimRenderThread() override;

	void EnqueueCommand(std::string Name, std::function<void()> Command) override;
	void Flush() override;
	bool IsInRenderingThread() const override;

	/** Wall seconds spent running commands since the last call (the CSV profiler's render thread time). */
	double ConsumeBusySeconds();
	/** Whether anything was enqueued since the last flush. */
	bool HasPendingWork() const;
	/** Fires an ensure on the render thread; unhandled ones are logged as the engine does. Does not wait. */
	void FireEnsure(const std::string& EnsureText);
	std::thread::id GetThreadId() const { return Thread.get_id(); }

private:
	void Main();

	mutable std::mutex Mutex;
	std::condition_variable Cv;
	std::condition_variable DoneCv;
	std::deque<std::pair<std::string, std::function<void()>>> Queue;
	uint64_t Enqueued = 0;
	uint64_t Completed = 0;
	uint64_t BusyNanoseconds = 0;
	bool bStop = false;
	std::thread Thread;
};
}
