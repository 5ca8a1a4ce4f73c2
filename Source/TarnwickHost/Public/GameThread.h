// The game thread's task queue and its wait (the engine's AsyncTask(ENamedThreads::GameThread, ...) together
// with the socket and pipe polling the engine loop does between frames).
//
// Work reaches the game thread two ways. Other threads Post tasks. Transports Watch file descriptors (stdin,
// a listening socket, connections): the frame loop's wait sleeps in one poll over all of them and the task
// queue's own eventfd, so a request that arrives between frames wakes the game thread once and is read,
// answered and written there without any other thread being woken. RunPending, called by the frame loop,
// first runs the callbacks of descriptors that became ready, then every queued task.
//
// The thread that calls MarkGameThread (or first calls RunPending) is the game thread. Post, Wake and the
// watch calls may be made from any thread; callbacks and tasks always run on the game thread, inside
// RunPending, never concurrently with each other.
#pragma once
#include "HostTypes.h"

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class FGameThreadTaskQueue
{
public:
	using FTask = std::function<void()>;
	/** Runs on the game thread with the poll events that were reported (POLLIN, POLLOUT, POLLHUP, POLLERR). */
	using FFdCallback = std::function<void(short ReadyEvents)>;

	static FGameThreadTaskQueue& Get();
	FGameThreadTaskQueue();
	~FGameThreadTaskQueue();
	FGameThreadTaskQueue(const FGameThreadTaskQueue&) = delete;
	FGameThreadTaskQueue& operator=(const FGameThreadTaskQueue&) = delete;

	/** Any thread. */
	void Post(FTask Task);
	/** Game thread: runs the callbacks of ready descriptors, then every task queued so far (and those they
	 *  queue); returns how many callbacks and tasks ran. */
	size_t RunPending();
	/** Game thread: sleeps at most TimeoutSeconds of real time until a task is queued, a watched descriptor is
	 *  ready, or Wake is called; true when there is something for RunPending to do. */
	bool WaitForTasks(double TimeoutSeconds);
	/** Any thread: ends a WaitForTasks early (for shutdown). */
	void Wake();
	size_t NumPending() const;

	/** Watches Fd for Events (POLLIN and/or POLLOUT); returns the watch's id (never 0). Any thread. */
	uint64 AddFdWatch(int Fd, short Events, FFdCallback Callback);
	/** Changes the events a watch waits for (0 pauses it). Any thread. */
	void SetFdWatchEvents(uint64 WatchId, short Events);
	/** Stops watching; safe from inside the watch's own callback. The descriptor is not closed. Any thread. */
	void RemoveFdWatch(uint64 WatchId);
	size_t NumFdWatches() const;

	void MarkGameThread();
	bool IsInGameThread() const;

private:
	struct FWatch
	{
		uint64 Id = 0;
		int Fd = -1;
		short Events = 0;
		std::shared_ptr<FFdCallback> Callback;
	};
	struct FReady
	{
		uint64 Id = 0;
		short Events = 0;
	};

	/** Polls the eventfd and the watches for at most TimeoutSeconds; records ready watches. */
	void Poll(double TimeoutSeconds);
	void DrainEventFd();

	mutable std::mutex Mutex;
	std::deque<FTask> Tasks;
	std::vector<FWatch> Watches;
	std::vector<FReady> Ready;
	bool bPolledSinceRun = false;
	bool bWake = false;
	bool bSignalled = false;
	uint64 NextWatchId = 1;
	int EventFd = -1;
	std::thread::id GameThreadId;
};

inline bool IsInGameThread() { return FGameThreadTaskQueue::Get().IsInGameThread(); }
