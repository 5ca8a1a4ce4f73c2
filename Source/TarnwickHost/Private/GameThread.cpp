#include "GameThread.h"

#include <chrono>

FGameThreadTaskQueue& FGameThreadTaskQueue::Get()
{
	static FGameThreadTaskQueue Instance;
	return Instance;
}

void FGameThreadTaskQueue::Post(FTask Task)
{
	{
		std::lock_guard Lock(Mutex);
		Tasks.push_back(std::move(Task));
	}
	Cv.notify_one();
}

size_t FGameThreadTaskQueue::RunPending()
{
	std::deque<FTask> Batch;
	{
		std::lock_guard Lock(Mutex);
		if (GameThreadId == std::thread::id())
		{
			GameThreadId = std::this_thread::get_id();
		}
		Batch.swap(Tasks);
	}
	size_t Ran = 0;
	while (!Batch.empty())
	{
		FTask Task = std::move(Batch.front());
		Batch.pop_front();
		Task();
		++Ran;
		if (Batch.empty())
		{
			std::lock_guard Lock(Mutex);
			Batch.swap(Tasks);
		}
	}
	return Ran;
}

bool FGameThreadTaskQueue::WaitForTasks(double TimeoutSeconds)
{
	std::unique_lock Lock(Mutex);
	if (TimeoutSeconds > 0.0)
	{
		Cv.wait_for(Lock, std::chrono::duration<double>(TimeoutSeconds), [&] { return !Tasks.empty() || bWake; });
	}
	bWake = false;
	return !Tasks.empty();
}

void FGameThreadTaskQueue::Wake()
{
	{
		std::lock_guard Lock(Mutex);
		bWake = true;
	}
	Cv.notify_all();
}

size_t FGameThreadTaskQueue::NumPending() const
{
	std::lock_guard Lock(Mutex);
	return Tasks.size();
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
