// The game thread's task queue (the engine's AsyncTask(ENamedThreads::GameThread, ...)).
//
// Transport threads post work here; the frame loop runs it between frames with RunPending, and sleeps in
// WaitForTasks until either a task arrives or the next frame is due, so a posted call never waits for a
// whole frame. The thread that calls MarkGameThread (or first calls RunPending) is the game thread.
#pragma once
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

class FGameThreadTaskQueue
{
public:
	using FTask = std::function<void()>;

	static FGameThreadTaskQueue& Get();

	/** Any thread. */
	void Post(FTask Task);
	/** Game thread: runs every task queued so far (and those they queue); returns how many ran. */
	size_t RunPending();
	/** Game thread: blocks at most TimeoutSeconds of real time until a task is queued or Wake is called. */
	bool WaitForTasks(double TimeoutSeconds);
	/** Any thread: ends a WaitForTasks early (for shutdown). */
	void Wake();
	size_t NumPending() const;

	void MarkGameThread();
	bool IsInGameThread() const;

private:
	mutable std::mutex Mutex;
	std::condition_variable Cv;
	std::deque<FTask> Tasks;
	bool bWake = false;
	std::thread::id GameThreadId;
};

inline bool IsInGameThread() { return FGameThreadTaskQueue::Get().IsInGameThread(); }
