// The host's own pieces: the core ticker, the game-thread queue, the log redirector, multicast delegates and
// package-name rules.
#include "Delegates.h"
#include "GameThread.h"
#include "Logging.h"
#include "Ticker.h"
#include "UObjectGlobals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

TEST(HostTicker, DelaysRemovalAndSelfRemoval)
{
	FTSTicker Ticker;
	std::vector<std::string> Calls;
	FTSTicker::FDelegateHandle Self;
	Ticker.AddTicker("Every", 0.0f, [&](float) { Calls.push_back("every"); return true; });
	Ticker.AddTicker("Delayed", 0.25f, [&](float Delta) { Calls.push_back("delayed:" + std::to_string(Delta).substr(0, 4)); return true; });
	Self = Ticker.AddTicker("Once", 0.0f, [&](float) {
		Calls.push_back("once");
		// Adding from inside a tick first runs on the next tick.
		Ticker.AddTicker("Late", 0.0f, [&](float) { Calls.push_back("late"); return false; });
		return false;
	});
	Ticker.Tick(0.1f);
	EXPECT_EQ(Calls, (std::vector<std::string>{"every", "once"}));
	Calls.clear();
	Ticker.Tick(0.2f);
	EXPECT_EQ(Calls, (std::vector<std::string>{"every", "delayed:0.30", "late"}));
	EXPECT_FALSE(Ticker.HasTicker(Self));
	EXPECT_EQ(Ticker.Num(), 2u);
	EXPECT_EQ(Ticker.GetTickerNames(), (std::vector<std::string>{"Every", "Delayed"}));
}

TEST(HostTicker, ACallbackMayRemoveALaterOneInTheSameTick)
{
	FTSTicker Ticker;
	int Second = 0;
	FTSTicker::FDelegateHandle B;
	Ticker.AddTicker("A", 0.0f, [&](float) { Ticker.RemoveTicker(B); return true; });
	B = Ticker.AddTicker("B", 0.0f, [&](float) { ++Second; return true; });
	Ticker.Tick(0.016f);
	EXPECT_EQ(Second, 0);
	Ticker.RemoveTicker(FTSTicker::FDelegateHandle());
	EXPECT_EQ(Ticker.Num(), 1u);
}

TEST(HostGameThread, TasksPostedFromOtherThreadsRunInOrderOnTheGameThread)
{
	FGameThreadTaskQueue& Queue = FGameThreadTaskQueue::Get();
	Queue.RunPending();
	Queue.MarkGameThread();
	std::vector<int> Ran;
	std::atomic<bool> bOnGame{true};
	std::thread Poster([&] {
		for (int I = 0; I < 50; ++I)
		{
			Queue.Post([&, I] {
				Ran.push_back(I);
				bOnGame = bOnGame && Queue.IsInGameThread();
			});
		}
	});
	Poster.join();
	EXPECT_TRUE(Queue.WaitForTasks(1.0));
	// A task that posts another gets it run in the same RunPending.
	Queue.Post([&] { Queue.Post([&] { Ran.push_back(99); }); });
	EXPECT_EQ(Queue.RunPending(), 52u);
	ASSERT_EQ(Ran.size(), 51u);
	for (int I = 0; I < 50; ++I) EXPECT_EQ(Ran[static_cast<size_t>(I)], I);
	EXPECT_EQ(Ran.back(), 99);
	EXPECT_TRUE(bOnGame);
	// Wake ends a wait early without a task.
	std::thread Waker([&] { Queue.Wake(); });
	EXPECT_FALSE(Queue.WaitForTasks(5.0));
	Waker.join();
}

namespace
{
class FCountingDevice final : public FOutputDevice
{
public:
	void Serialize(std::string_view, ELogVerbosity::Type, std::string_view, double) override
	{
		if (Inside.fetch_add(1) != 0) bOverlap = true;
		++Count;
		std::this_thread::yield();
		Inside.fetch_sub(1);
	}
	std::atomic<int> Inside{0};
	std::atomic<int> Count{0};
	std::atomic<bool> bOverlap{false};
};
}

TEST(HostLogRedirector, DevicesThatAreNotThreadSafeGetOneCallerAtATime)
{
	FCountingDevice Device;
	GLog->AddOutputDevice(&Device);
	GLog->AddOutputDevice(&Device);
	EXPECT_TRUE(GLog->IsRedirectingTo(&Device));
	std::vector<std::thread> Threads;
	for (int T = 0; T < 4; ++T)
	{
		Threads.emplace_back([] {
			for (int I = 0; I < 500; ++I) GLog->Serialize("line", ELogVerbosity::Log, "LogTest");
		});
	}
	for (std::thread& T : Threads) T.join();
	GLog->RemoveOutputDevice(&Device);
	EXPECT_FALSE(GLog->IsRedirectingTo(&Device));
	EXPECT_EQ(Device.Count, 2000) << "added twice, delivered once";
	EXPECT_FALSE(Device.bOverlap);
	GLog->Serialize("after removal", ELogVerbosity::Log, "LogTest");
	EXPECT_EQ(Device.Count, 2000);
}

TEST(HostLogging, CategoryVerbosityFiltersBeforeFormatting)
{
	FLogCategory LogQuiet("LogQuiet", ELogVerbosity::Warning);
	FCountingDevice Device;
	GLog->AddOutputDevice(&Device);
	TW_LOG(LogQuiet, Log, "dropped %d", 1);
	TW_LOG(LogQuiet, Warning, "kept %d", 2);
	LogQuiet.SetVerbosity(ELogVerbosity::VeryVerbose);
	TW_LOG(LogQuiet, Verbose, "kept %d", 3);
	GLog->RemoveOutputDevice(&Device);
	EXPECT_EQ(Device.Count, 2);
	EXPECT_STREQ(ToString(ELogVerbosity::VeryVerbose), "VeryVerbose");
	EXPECT_STREQ(ToString(static_cast<ELogVerbosity::Type>(9)), "Unknown");
}

TEST(HostDelegates, BroadcastOrderAndRemovalDuringBroadcast)
{
	TMulticastDelegate<int> Delegate;
	std::vector<std::string> Calls;
	FDelegateHandle Second;
	const FDelegateHandle First = Delegate.Add([&](int V) {
		Calls.push_back("first " + std::to_string(V));
		Delegate.Remove(Second);
		Delegate.Add([&](int) { Calls.push_back("added"); });
	});
	Second = Delegate.Add([&](int) { Calls.push_back("second"); });
	Delegate.Broadcast(1);
	EXPECT_EQ(Calls, std::vector<std::string>{"first 1"});
	EXPECT_FALSE(Delegate.Remove(Second));
	EXPECT_TRUE(Delegate.Remove(First));
	Calls.clear();
	Delegate.Broadcast(2);
	EXPECT_EQ(Calls, std::vector<std::string>{"added"});
	EXPECT_FALSE(Delegate.Remove(FDelegateHandle()));
	Delegate.Clear();
	EXPECT_FALSE(Delegate.IsBound());
}

TEST(HostPackageName, NamesAndObjectPaths)
{
	std::string Reason;
	EXPECT_FALSE(FPackageName::IsValidLongPackageName("Game/Foo", &Reason));
	EXPECT_EQ(Reason, "a long package name starts with '/'");
	EXPECT_FALSE(FPackageName::IsValidLongPackageName("/Game", &Reason));
	EXPECT_EQ(Reason, "a long package name has a mount point and an asset name, like /Game/Name");
	EXPECT_EQ(FPackageName::GetShortName("/Game/Maps/Arena"), "Arena");
	EXPECT_EQ(FPackageName::ObjectPathToPackageName("/Game/Maps/Arena.Arena"), "/Game/Maps/Arena");
	EXPECT_EQ(FPackageName::ObjectPathToObjectName("/Game/Maps/Arena.Arena:PersistentLevel.Floor"), "Arena");
	EXPECT_EQ(FPackageName::ObjectPathToObjectName("/Game/Maps/Arena"), "");
	// Without an installed object system nothing exists.
	EXPECT_FALSE(FPackageName::DoesPackageExist("/Game/Maps/Arena"));
}
