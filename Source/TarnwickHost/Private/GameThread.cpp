#include "GameThread.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

FGameThreadTaskQueue& FGameThreadTaskQueue::Get()
{
	static FGameThreadTaskQueue Instance;
	return Instance;
}

FGameThreadTaskQueue::FGameThreadTaskQueue()
	: EventFd(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
}

FGameThreadTaskQueue::~FGameThreadTaskQueue()
{
	if (EventFd >= 0) ::close(EventFd);
}

void FGameThreadTaskQueue::Post(FTask Task)
{
	std::lock_guard Lock(Mutex);
	Tasks.push_back(std::move(Task));
	// One write wakes the sleeper; later posts before it drains need none. Writing under the lock keeps the
	// eventfd's count and bSignalled in step, so RunPending can drain it exactly.
	if (!bSignalled && EventFd >= 0)
	{
		const uint64_t One = 1;
		[[maybe_unused]] const ssize_t N = ::write(EventFd, &One, sizeof(One));
	}
	bSignalled = true;
}

void FGameThreadTaskQueue::Wake()
{
	std::lock_guard Lock(Mutex);
	bWake = true;
	if (!bSignalled && EventFd >= 0)
	{
		const uint64_t One = 1;
		[[maybe_unused]] const ssize_t N = ::write(EventFd, &One, sizeof(One));
	}
	bSignalled = true;
}

void FGameThreadTaskQueue::DrainEventFd()
{
	uint64_t Count = 0;
	while (EventFd >= 0 && ::read(EventFd, &Count, sizeof(Count)) > 0)
	{
	}
}

void FGameThreadTaskQueue::Poll(double TimeoutSeconds)
{
	std::vector<pollfd> Fds;
	std::vector<uint64> Ids;
	{
		std::lock_guard Lock(Mutex);
		Fds.reserve(Watches.size() + 1);
		Fds.push_back(pollfd{EventFd, POLLIN, 0});
		for (const FWatch& W : Watches)
		{
			if (W.Events == 0) continue;
			Fds.push_back(pollfd{W.Fd, W.Events, 0});
			Ids.push_back(W.Id);
		}
	}
	timespec Timeout{};
	const double Clamped = std::max(0.0, TimeoutSeconds);
	Timeout.tv_sec = static_cast<time_t>(std::floor(Clamped));
	Timeout.tv_nsec = static_cast<long>((Clamped - std::floor(Clamped)) * 1e9);
	int Count = ::ppoll(Fds.data(), Fds.size(), &Timeout, nullptr);
	if (Count < 0 && errno != EINTR) Count = 0;

	std::lock_guard Lock(Mutex);
	bPolledSinceRun = true;
	if (Count <= 0) return;
	if (Fds[0].revents & POLLIN)
	{
		DrainEventFd();
		bSignalled = false;
	}
	for (size_t I = 1; I < Fds.size(); ++I)
	{
		if (Fds[I].revents == 0) continue;
		const uint64 Id = Ids[I - 1];
		auto It = std::find_if(Ready.begin(), Ready.end(), [&](const FReady& R) { return R.Id == Id; });
		if (It != Ready.end()) It->Events |= Fds[I].revents;
		else Ready.push_back(FReady{Id, Fds[I].revents});
	}
}

bool FGameThreadTaskQueue::WaitForTasks(double TimeoutSeconds)
{
	{
		std::lock_guard Lock(Mutex);
		if (!Tasks.empty() || !Ready.empty() || bWake)
		{
			const bool bWork = !Tasks.empty() || !Ready.empty();
			bWake = false;
			return bWork;
		}
	}
	Poll(TimeoutSeconds);
	std::lock_guard Lock(Mutex);
	bWake = false;
	return !Tasks.empty() || !Ready.empty();
}

size_t FGameThreadTaskQueue::RunPending()
{
	bool bNeedPoll = false;
	{
		std::lock_guard Lock(Mutex);
		if (GameThreadId == std::thread::id())
		{
			GameThreadId = std::this_thread::get_id();
		}
		// A loop that did not wait since the last run (a virtual clock runs frames back to back) still has to
		// look at its descriptors, without sleeping.
		bNeedPoll = !bPolledSinceRun && !Watches.empty();
		bPolledSinceRun = false;
	}
	if (bNeedPoll) Poll(0.0);

	size_t Ran = 0;
	std::vector<FReady> ReadyNow;
	{
		std::lock_guard Lock(Mutex);
		ReadyNow.swap(Ready);
		bPolledSinceRun = false;
	}
	for (const FReady& R : ReadyNow)
	{
		std::shared_ptr<FFdCallback> Callback;
		{
			std::lock_guard Lock(Mutex);
			auto It = std::find_if(Watches.begin(), Watches.end(), [&](const FWatch& W) { return W.Id == R.Id; });
			// A watch removed by an earlier callback in this run is not called.
			if (It == Watches.end()) continue;
			Callback = It->Callback;
		}
		(*Callback)(R.Events);
		++Ran;
	}

	const auto TakeTasks = [this](std::deque<FTask>& Into) {
		std::lock_guard Lock(Mutex);
		Into.swap(Tasks);
		// The tasks are taken: a pending wake-up for them would only make the next wait return at once.
		if (bSignalled && !bWake)
		{
			DrainEventFd();
			bSignalled = false;
		}
	};
	std::deque<FTask> Batch;
	TakeTasks(Batch);
	while (!Batch.empty())
	{
		FTask Task = std::move(Batch.front());
		Batch.pop_front();
		Task();
		++Ran;
		if (Batch.empty()) TakeTasks(Batch);
	}
	return Ran;
}

size_t FGameThreadTaskQueue::NumPending() const
{
	std::lock_guard Lock(Mutex);
	return Tasks.size();
}

uint64 FGameThreadTaskQueue::AddFdWatch(int Fd, short Events, FFdCallback Callback)
{
	std::lock_guard Lock(Mutex);
	FWatch W;
	W.Id = NextWatchId++;
	W.Fd = Fd;
	W.Events = Events;
	W.Callback = std::make_shared<FFdCallback>(std::move(Callback));
	Watches.push_back(std::move(W));
	return Watches.back().Id;
}

void FGameThreadTaskQueue::SetFdWatchEvents(uint64 WatchId, short Events)
{
	std::lock_guard Lock(Mutex);
	for (FWatch& W : Watches)
	{
		if (W.Id == WatchId) W.Events = Events;
	}
}

void FGameThreadTaskQueue::RemoveFdWatch(uint64 WatchId)
{
	std::lock_guard Lock(Mutex);
	Watches.erase(std::remove_if(Watches.begin(), Watches.end(), [&](const FWatch& W) { return W.Id == WatchId; }), Watches.end());
	Ready.erase(std::remove_if(Ready.begin(), Ready.end(), [&](const FReady& R) { return R.Id == WatchId; }), Ready.end());
}

size_t FGameThreadTaskQueue::NumFdWatches() const
{
	std::lock_guard Lock(Mutex);
	return Watches.size();
}

void FGameThreadTaskQueue::MarkGameThread()
{
	std::lock_guard Lock(Mutex);
	GameThreadId = std::this_thread::get_id();
}

bool FGameThreadTaskQueue::IsInGameThread() const
{
	std::lock_guard Lock(Mutex);
	return GameThreadId == std::this_thread::get_id();
}
