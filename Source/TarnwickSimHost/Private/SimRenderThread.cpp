#include "SimRenderThread.h"

#include "Logging.h"
#include "ModalHooks.h"

#include <chrono>

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogRHI("LogRHI");
FLogCategory LogOutputDevice("LogOutputDevice");
}

FSimRenderThread::FSimRenderThread()
{
	Thread = std::thread([this] { Main(); });
	EnqueueCommand("InitRHI", [] { TW_LOG(LogRHI, Display, "Using the simulated software RHI: viewports are rasterised on this thread when their pixels are read"); });
	Flush();
}

FSimRenderThread::~FSimRenderThread()
{
	{
		std::lock_guard Lock(Mutex);
		bStop = true;
	}
	Cv.notify_all();
	if (Thread.joinable()) Thread.join();
}

void FSimRenderThread::EnqueueCommand(std::string Name, std::function<void()> Command)
{
	{
		std::lock_guard Lock(Mutex);
		Queue.emplace_back(std::move(Name), std::move(Command));
		++Enqueued;
	}
	Cv.notify_one();
}

void FSimRenderThread::Flush()
{
	if (IsInRenderingThread()) return;
	std::unique_lock Lock(Mutex);
	const uint64_t Target = Enqueued;
	DoneCv.wait(Lock, [&] { return Completed >= Target || bStop; });
}

bool FSimRenderThread::IsInRenderingThread() const { return std::this_thread::get_id() == Thread.get_id(); }

double FSimRenderThread::ConsumeBusySeconds()
{
	std::lock_guard Lock(Mutex);
	const uint64_t Busy = BusyNanoseconds;
	BusyNanoseconds = 0;
	return static_cast<double>(Busy) * 1e-9;
}

bool FSimRenderThread::HasPendingWork() const
{
	std::lock_guard Lock(Mutex);
	return Completed < Enqueued;
}

void FSimRenderThread::FireEnsure(const std::string& EnsureText)
{
	EnqueueCommand("FireEnsure", [EnsureText] {
		if (!HandleEnsure(EnsureText))
		{
			TW_LOG(LogOutputDevice, Warning, "Ensure condition failed: %s", EnsureText.c_str());
		}
	});
}

void FSimRenderThread::Main()
{
	for (;;)
	{
		std::pair<std::string, std::function<void()>> Item;
		{
			std::unique_lock Lock(Mutex);
			Cv.wait(Lock, [&] { return bStop || !Queue.empty(); });
			if (Queue.empty()) return;
			Item = std::move(Queue.front());
			Queue.pop_front();
		}
		const auto Start = std::chrono::steady_clock::now();
		Item.second();
		const auto Spent = std::chrono::steady_clock::now() - Start;
		{
			std::lock_guard Lock(Mutex);
			++Completed;
			BusyNanoseconds += static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(Spent).count());
		}
		DoneCv.notify_all();
	}
}
}
