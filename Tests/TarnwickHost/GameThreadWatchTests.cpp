// The game thread's descriptor watches: one poll serves the task queue and every watched pipe or socket.
#include "GameThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace
{
struct FPipe
{
	int Fds[2] = {-1, -1};
	FPipe() { EXPECT_EQ(::pipe(Fds), 0); }
	~FPipe()
	{
		::close(Fds[0]);
		::close(Fds[1]);
	}
	void Write(const char* Text) const { EXPECT_GT(::write(Fds[1], Text, std::char_traits<char>::length(Text)), 0); }
};
}

TEST(HostGameThreadWatch, AReadyDescriptorEndsTheWaitAndItsCallbackRunsInRunPending)
{
	FGameThreadTaskQueue Queue;
	Queue.MarkGameThread();
	FPipe Pipe;
	std::string Got;
	const uint64 Id = Queue.AddFdWatch(Pipe.Fds[0], POLLIN, [&](short Events) {
		EXPECT_TRUE(Events & POLLIN);
		char Buffer[16];
		const ssize_t N = ::read(Pipe.Fds[0], Buffer, sizeof(Buffer));
		Got.append(Buffer, static_cast<size_t>(std::max<ssize_t>(N, 0)));
	});
	EXPECT_FALSE(Queue.WaitForTasks(0.0)) << "nothing ready yet";

	std::thread Writer([&] { Pipe.Write("hello"); });
	EXPECT_TRUE(Queue.WaitForTasks(5.0)) << "the write wakes the wait";
	Writer.join();
	EXPECT_TRUE(Got.empty()) << "callbacks run in RunPending, not in the wait";
	EXPECT_EQ(Queue.RunPending(), 1u);
	EXPECT_EQ(Got, "hello");

	Queue.SetFdWatchEvents(Id, 0);
	Pipe.Write("x");
	EXPECT_FALSE(Queue.WaitForTasks(0.0)) << "a paused watch is not polled";
	Queue.SetFdWatchEvents(Id, POLLIN);
	Queue.RemoveFdWatch(Id);
	EXPECT_EQ(Queue.NumFdWatches(), 0u);
	EXPECT_FALSE(Queue.WaitForTasks(0.0));
}

TEST(HostGameThreadWatch, RunPendingLooksAtDescriptorsWithoutAWait)
{
	// A virtual clock runs frames back to back and never waits; watched input must still be read.
	FGameThreadTaskQueue Queue;
	FPipe Pipe;
	int Calls = 0;
	Queue.AddFdWatch(Pipe.Fds[0], POLLIN, [&](short) {
		char C;
		EXPECT_EQ(::read(Pipe.Fds[0], &C, 1), 1);
		++Calls;
	});
	Pipe.Write("a");
	Queue.RunPending();
	EXPECT_EQ(Calls, 1);
	Queue.RunPending();
	EXPECT_EQ(Calls, 1);
}

TEST(HostGameThreadWatch, PostsFromOtherThreadsWakeTheWaitEveryTime)
{
	FGameThreadTaskQueue Queue;
	Queue.MarkGameThread();
	std::atomic<int> Ran = 0;
	for (int Round = 0; Round < 50; ++Round)
	{
		std::thread Poster([&] { Queue.Post([&] { ++Ran; }); });
		EXPECT_TRUE(Queue.WaitForTasks(5.0)) << Round;
		Poster.join();
		Queue.RunPending();
		EXPECT_EQ(Ran.load(), Round + 1);
	}
	// A callback that removes a later watch in the same run keeps it from being called.
	FPipe A, B;
	int BCalls = 0;
	uint64 BId = 0;
	Queue.AddFdWatch(A.Fds[0], POLLIN, [&](short) { Queue.RemoveFdWatch(BId); });
	BId = Queue.AddFdWatch(B.Fds[0], POLLIN, [&](short) { ++BCalls; });
	A.Write("a");
	B.Write("b");
	EXPECT_TRUE(Queue.WaitForTasks(1.0));
	Queue.RunPending();
	EXPECT_EQ(BCalls, 0);
}
