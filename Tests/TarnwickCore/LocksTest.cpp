// The compile and restart locks: the lease rule and record format case by case, then real contention with
// lock_contender child processes holding, losing and releasing the locks of one project.
#include "../../Source/TarnwickCore/Private/Locks/LockRecord.h"
#include "Logging.h"
#include "Paths.h"
#include "PlatformTime.h"
#include "TarnwickJson.h"
#include "TarnwickLocks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace
{
namespace fs = std::filesystem;
using Tarnwick::Locks::ELeaseVerdict;
using Tarnwick::Locks::FLockRecord;

/** A lock_contender child with its stdin and stdout piped to the test. */
class FContender
{
public:
	explicit FContender(const fs::path& ProjectDir, const std::vector<std::string>& Command = {})
	{
		int ToChildPipe[2], FromChildPipe[2];
		if (::pipe2(ToChildPipe, O_CLOEXEC) != 0 || ::pipe2(FromChildPipe, O_CLOEXEC) != 0)
		{
			return;
		}
		posix_spawn_file_actions_t Actions;
		posix_spawn_file_actions_init(&Actions);
		posix_spawn_file_actions_adddup2(&Actions, ToChildPipe[0], STDIN_FILENO);
		posix_spawn_file_actions_adddup2(&Actions, FromChildPipe[1], STDOUT_FILENO);

		std::vector<std::string> Args = {TARNWICK_BINARY_DIR "/Tests/lock_contender", ProjectDir.string()};
		Args.insert(Args.end(), Command.begin(), Command.end());
		std::vector<char*> Argv;
		for (std::string& Arg : Args)
		{
			Argv.push_back(Arg.data());
		}
		Argv.push_back(nullptr);
		if (::posix_spawn(&Pid, Argv[0], &Actions, nullptr, Argv.data(), environ) != 0)
		{
			Pid = -1;
		}
		posix_spawn_file_actions_destroy(&Actions);
		::close(ToChildPipe[0]);
		::close(FromChildPipe[1]);
		ToChild = ToChildPipe[1];
		FromChild = FromChildPipe[0];
	}
	~FContender()
	{
		::close(ToChild); // end of input: the child exits without releasing anything
		::close(FromChild);
		if (Pid > 0)
		{
			::waitpid(Pid, nullptr, 0);
		}
	}
	FContender(const FContender&) = delete;
	FContender& operator=(const FContender&) = delete;

	int32 GetPid() const { return Pid; }

	FJson Send(const std::string& Line)
	{
		const std::string Text = Line + "\n";
		if (Pid <= 0 || ::write(ToChild, Text.data(), Text.size()) != static_cast<ssize_t>(Text.size()))
		{
			return FJson();
		}
		return ReadReply();
	}

	/** The next JSON line; null when the child closed its output or went silent for half a minute. */
	FJson ReadReply()
	{
		std::string Line;
		char C = 0;
		pollfd Poll{FromChild, POLLIN, 0};
		while (::poll(&Poll, 1, 30000) == 1 && ::read(FromChild, &C, 1) == 1 && C != '\n')
		{
			Line.push_back(C);
		}
		return FTarnwickJsonUtils::ParseValue(Line).value_or(FJson());
	}

	/** Dies without releasing, as a crashed editor would; reaped so its pid is really gone. */
	void Kill()
	{
		::kill(Pid, SIGKILL);
		::waitpid(Pid, nullptr, 0);
		Pid = -1;
	}

private:
	pid_t Pid = -1;
	int ToChild = -1;
	int FromChild = -1;
};

struct FFixedUtcClock final : Tarnwick::Host::IPlatformClock
{
	double Utc = 0.0;
	double Seconds() const override { return 0.0; }
	double UtcNow() const override { return Utc; }
};

struct FWarningCapture final : FOutputDevice
{
	FWarningCapture() { GLog->AddOutputDevice(this); }
	~FWarningCapture() override { GLog->RemoveOutputDevice(this); }
	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view, double) override
	{
		if (Verbosity == ELogVerbosity::Warning)
		{
			Lines.emplace_back(Message);
		}
	}
	bool CanBeUsedOnAnyThread() const override { return true; }
	std::vector<std::string> Lines;
};

FLockRecord Holder(const char* Owner, int32 Pid, double LeaseUntil)
{
	FLockRecord Record;
	Record.Owner = Owner;
	Record.Pid = Pid;
	Record.Action = "editor.trigger_build";
	Record.LeaseUntilUtc = LeaseUntil;
	return Record;
}

TEST(LockRuleTest, EvaluatesLease)
{
	struct FCase
	{
		const char* Name;
		std::optional<FLockRecord> Current;
		const char* Owner;
		int32 Pid;
		bool bHolderAlive;
		ELeaseVerdict Expected;
	};
	const double Now = 1000.0;
	const FCase Cases[] = {
		{"no lock file", std::nullopt, "a", 10, false, ELeaseVerdict::Free},
		{"own renewal", Holder("a", 10, 2000), "a", 10, true, ELeaseVerdict::Renewal},
		{"own renewal after expiry", Holder("a", 10, 500), "a", 10, true, ELeaseVerdict::Renewal},
		{"empty owner renews in its own process", Holder("", 10, 2000), "", 10, true, ELeaseVerdict::Renewal},
		{"other owner, live, leased", Holder("a", 10, 2000), "b", 11, true, ELeaseVerdict::Held},
		{"same owner, other live process", Holder("a", 10, 2000), "a", 11, true, ELeaseVerdict::Held},
		{"other owner in the holder's process", Holder("a", 10, 2000), "b", 10, true, ELeaseVerdict::Held},
		{"holder process gone", Holder("a", 10, 2000), "b", 11, false, ELeaseVerdict::HolderGone},
		{"lease ends now", Holder("a", 10, Now), "b", 11, true, ELeaseVerdict::LeaseExpired},
		{"lease ended", Holder("a", 10, 999.5), "b", 11, true, ELeaseVerdict::LeaseExpired},
	};
	for (const FCase& Case : Cases)
	{
		EXPECT_EQ(Tarnwick::Locks::EvaluateLease(Case.Current, Case.Owner, Case.Pid, Now, Case.bHolderAlive), Case.Expected) << Case.Name;
	}
}

TEST(LockRuleTest, RefusalRoundsTimeLeftUp)
{
	const std::pair<double, int32> Cases[] = {{1059.2, 60}, {1060.0, 60}, {1000.01, 1}, {1e12, 2147483647}};
	for (const auto& [LeaseUntil, Expected] : Cases)
	{
		const FDecision Decision = Tarnwick::Locks::MakeRefusal(Holder("agent", 42, LeaseUntil), 1000.0);
		EXPECT_FALSE(Decision.bAllowed);
		EXPECT_EQ(Decision.RetryAfterSeconds, Expected) << LeaseUntil;
		EXPECT_EQ(Decision.HolderPid, 42);
		EXPECT_EQ(Decision.HolderOwner, "agent");
		EXPECT_EQ(Decision.HolderAction, "editor.trigger_build");
	}
}

TEST(LockRecordTest, UtcTextRoundTrips)
{
	EXPECT_EQ(Tarnwick::Locks::FormatUtc(0.0), "1970-01-01T00:00:00.000Z");
	EXPECT_EQ(Tarnwick::Locks::FormatUtc(1740830405.25), "2025-03-01T12:00:05.250Z");
	EXPECT_EQ(Tarnwick::Locks::FormatUtc(951868799.9996), "2000-02-29T23:59:59.999Z") << "truncates to the millisecond";
	EXPECT_DOUBLE_EQ(*Tarnwick::Locks::ParseUtc("2025-03-01T12:00:05.250Z"), 1740830405.25);
	EXPECT_DOUBLE_EQ(*Tarnwick::Locks::ParseUtc("2025-03-01T12:00:05"), 1740830405.0);
	for (const char* Bad : {"", "2025-03-01", "2025-02-30T00:00:00Z", "2025-03-01T24:00:00Z", "2025-03-01T12:00:05.Z",
			 "2025-03-01T12:00:05+01:00", "2025-03-01 12:00:05Z"})
	{
		EXPECT_FALSE(Tarnwick::Locks::ParseUtc(Bad)) << Bad;
	}
}

TEST(LockRecordTest, RejectsRecordsWithoutOwnerPidOrLease)
{
	FLockRecord Record = Holder("agent", 77, 1740830405.25);
	Record.Namespace = "editor";
	Record.AcquiredUtc = 1740830105.0;
	const std::optional<FLockRecord> Back = Tarnwick::Locks::ParseLockRecord(Tarnwick::Locks::WriteLockRecord(Record));
	ASSERT_TRUE(Back);
	EXPECT_EQ(Back->Owner, "agent");
	EXPECT_EQ(Back->Pid, 77);
	EXPECT_EQ(Back->Namespace, "editor");
	EXPECT_EQ(Back->Action, "editor.trigger_build");
	EXPECT_DOUBLE_EQ(Back->AcquiredUtc, 1740830105.0);
	EXPECT_DOUBLE_EQ(Back->LeaseUntilUtc, 1740830405.25);

	const char* Lease = R"("lease_until_utc":"2025-03-01T12:00:05Z")";
	for (const std::string& Bad : {std::string(""), std::string("{"), std::string("[]"),
			 std::string(R"({"pid":1,)") + Lease + "}", std::string(R"({"owner":"a",)") + Lease + "}",
			 std::string(R"({"owner":"a","pid":"1",)") + Lease + "}", std::string(R"({"owner":"a","pid":1.5,)") + Lease + "}",
			 std::string(R"({"owner":"a","pid":18446744073709551615,)") + Lease + "}",
			 std::string(R"({"owner":"a","pid":1})"), std::string(R"({"owner":"a","pid":1,"lease_until_utc":12})")})
	{
		EXPECT_FALSE(Tarnwick::Locks::ParseLockRecord(Bad)) << Bad;
	}
}

class LocksTest : public ::testing::Test
{
protected:
	void SetUp() override
	{
		static std::atomic<int> Counter{0};
		SavedProjectDir = FPaths::ProjectDir();
		ProjectDir = fs::temp_directory_path() / ("tarnwick-locks-" + std::to_string(::getpid()) + "-" + std::to_string(Counter++));
		fs::create_directories(ProjectDir);
		FPaths::SetProjectDir(ProjectDir.string());
	}
	void TearDown() override
	{
		Tarnwick::Host::SetClock(nullptr);
		FPaths::SetProjectDir(SavedProjectDir);
		std::error_code Ec;
		fs::remove_all(ProjectDir, Ec);
	}

	fs::path LockPath(const char* Name) const { return ProjectDir / "Saved" / "Tarnwick" / "Locks" / Name; }
	std::optional<FLockRecord> ReadLock(const char* Name) const
	{
		std::ifstream In(LockPath(Name));
		return Tarnwick::Locks::ParseLockRecord(std::string{std::istreambuf_iterator<char>(In), std::istreambuf_iterator<char>()});
	}
	/** Moves this process's wall clock past every lease taken so far. */
	void JumpClockAhead(double Seconds)
	{
		Clock.Utc = Tarnwick::Host::FRealtimeClock().UtcNow() + Seconds;
		Tarnwick::Host::SetClock(&Clock);
	}

	std::string SavedProjectDir;
	fs::path ProjectDir;
	FFixedUtcClock Clock;
	const int32 MyPid = static_cast<int32>(::getpid());
};

TEST_F(LocksTest, SecondProcessIsRefusedWhileTheFirstHolds)
{
	ASSERT_FALSE(fs::exists(ProjectDir / "Saved"));
	FContender A(ProjectDir), B(ProjectDir);
	EXPECT_EQ(A.Send("acquire agent-a 300")["allowed"], true) << "the lock folder is created on demand";

	const FJson Refused = B.Send("acquire agent-b 60");
	EXPECT_EQ(Refused["allowed"], false);
	EXPECT_EQ(Refused["holder_pid"], A.GetPid());
	EXPECT_EQ(Refused["holder_owner"], "agent-a");
	EXPECT_EQ(Refused["holder_action"], "editor.trigger_build");
	EXPECT_GE(Refused["retry_after_seconds"], 1);
	EXPECT_LE(Refused["retry_after_seconds"], 300);

	// The owner name alone is not enough: the same session id from another editor is still someone else.
	const FDecision SameOwnerHere = TarnwickCompileLock::TryAcquire("agent-a", "editor", "editor.live_compile", 60, MyPid);
	EXPECT_FALSE(SameOwnerHere.bAllowed);
	EXPECT_EQ(SameOwnerHere.HolderPid, A.GetPid());

	EXPECT_EQ(A.Send("acquire agent-a 300 editor.live_compile")["allowed"], true) << "the holder renews";
	const std::optional<FLockRecord> Record = ReadLock("compile.lock");
	ASSERT_TRUE(Record);
	EXPECT_EQ(Record->Action, "editor.live_compile");
	EXPECT_NEAR(Record->LeaseUntilUtc - Record->AcquiredUtc, 300.0, 0.002);

	std::ifstream In(LockPath("compile.lock"));
	const FJsonPtr Json = FTarnwickJsonUtils::Parse(std::string{std::istreambuf_iterator<char>(In), std::istreambuf_iterator<char>()});
	ASSERT_TRUE(Json);
	std::vector<std::string> Keys;
	for (const auto& Item : Json->items())
	{
		Keys.push_back(Item.key());
	}
	EXPECT_EQ(Keys, (std::vector<std::string>{"owner", "pid", "namespace", "action", "acquired_utc", "lease_until_utc"}));
}

TEST_F(LocksTest, KilledHolderIsTakenOver)
{
	FContender A(ProjectDir), B(ProjectDir);
	ASSERT_EQ(A.Send("acquire agent-a 300")["allowed"], true);
	const int32 DeadPid = A.GetPid();
	A.Kill();
	EXPECT_FALSE(Tarnwick::Locks::IsProcessAlive(DeadPid));

	EXPECT_EQ(B.Send("acquire agent-b 60")["allowed"], true);
	ASSERT_TRUE(ReadLock("compile.lock"));
	EXPECT_EQ(ReadLock("compile.lock")->Pid, B.GetPid());
	EXPECT_FALSE(TarnwickCompileLock::TryAcquire("agent-a", "editor", "editor.trigger_build", 60, MyPid).bAllowed);
}

TEST_F(LocksTest, ExpiredLeaseOfALiveHolderIsTakenOver)
{
	FContender A(ProjectDir);
	ASSERT_EQ(A.Send("acquire agent-a 30")["allowed"], true);
	EXPECT_FALSE(TarnwickCompileLock::TryAcquire("agent-b", "editor", "editor.trigger_build", 60, MyPid).bAllowed);

	JumpClockAhead(31.0);
	EXPECT_TRUE(TarnwickCompileLock::TryAcquire("agent-b", "editor", "editor.trigger_build", 60, MyPid).bAllowed);
	ASSERT_TRUE(ReadLock("compile.lock"));
	EXPECT_EQ(ReadLock("compile.lock")->Owner, "agent-b");

	// The former holder, on the real clock, now finds this process's fresh lease in its way.
	const FJson Refused = A.Send("acquire agent-a 30");
	EXPECT_EQ(Refused["allowed"], false);
	EXPECT_EQ(Refused["holder_pid"], MyPid);
	EXPECT_GE(Refused["retry_after_seconds"], 60);
}

TEST_F(LocksTest, OnlyTheHolderReleases)
{
	FContender A(ProjectDir), B(ProjectDir);
	ASSERT_EQ(A.Send("acquire agent-a 300")["allowed"], true);

	EXPECT_EQ(B.Send("release agent-a")["released"], true);
	TarnwickCompileLock::Release("agent-a");
	TarnwickCompileLock::Release("");
	EXPECT_TRUE(fs::exists(LockPath("compile.lock")));
	EXPECT_EQ(B.Send("acquire agent-b 60")["holder_pid"], A.GetPid());

	A.Send("release other-owner");
	EXPECT_TRUE(fs::exists(LockPath("compile.lock")));
	A.Send("release agent-a");
	EXPECT_FALSE(fs::exists(LockPath("compile.lock")));
	EXPECT_EQ(B.Send("acquire agent-b 60")["allowed"], true);
}

TEST_F(LocksTest, SimultaneousContendersHaveOneWinner)
{
	std::vector<std::unique_ptr<FContender>> Contenders;
	for (int I = 0; I < 6; ++I)
	{
		Contenders.push_back(std::make_unique<FContender>(ProjectDir, std::vector<std::string>{"acquire", "agent-" + std::to_string(I), "300"}));
	}
	int Winners = 0;
	for (const auto& Contender : Contenders)
	{
		const FJson Reply = Contender->ReadReply();
		ASSERT_TRUE(Reply.contains("allowed")) << Reply.dump();
		Winners += Reply["allowed"] == true;
	}
	EXPECT_EQ(Winners, 1);
}

TEST_F(LocksTest, CorruptLockFileIsReplaced)
{
	fs::create_directories(LockPath("compile.lock").parent_path());
	std::ofstream(LockPath("compile.lock")) << "{\"owner\": \"agent-a\", \"pid\": ";

	FWarningCapture Warnings;
	EXPECT_TRUE(TarnwickCompileLock::TryAcquire("agent-b", "editor", "editor.trigger_build", 60, MyPid).bAllowed);
	ASSERT_EQ(Warnings.Lines.size(), 1u);
	EXPECT_NE(Warnings.Lines[0].find("compile.lock is unreadable or not a lock record; replacing it"), std::string::npos);
	ASSERT_TRUE(ReadLock("compile.lock"));
	EXPECT_EQ(ReadLock("compile.lock")->Owner, "agent-b");
}

TEST_F(LocksTest, RestartLeaseKeepsOtherOwnersOut)
{
	FContender A(ProjectDir), B(ProjectDir);
	EXPECT_EQ(A.Send("restart agent-a 60")["allowed"], true);
	EXPECT_EQ(A.Send("restart agent-a 60")["allowed"], true) << "the same owner in the same editor again";

	const FJson Refused = B.Send("restart agent-b 60");
	EXPECT_EQ(Refused["allowed"], false);
	EXPECT_GE(Refused["retry_after_seconds"], 1);
	EXPECT_LE(Refused["retry_after_seconds"], 60);
	EXPECT_EQ(B.Send("restart agent-a 60")["allowed"], false);
	EXPECT_FALSE(TarnwickRestartLock::CheckRestart("agent-b", 60).bAllowed);

	JumpClockAhead(61.0);
	EXPECT_TRUE(TarnwickRestartLock::CheckRestart("agent-b", 60).bAllowed);
	ASSERT_TRUE(ReadLock("restart.lock"));
	EXPECT_EQ(ReadLock("restart.lock")->Owner, "agent-b");
	EXPECT_EQ(ReadLock("restart.lock")->Pid, MyPid);
	EXPECT_EQ(Tarnwick::Locks::GetLockDir(), FPaths::ProjectSavedDir() + "Tarnwick/Locks/");
	EXPECT_FALSE(fs::exists(LockPath("compile.lock"))) << "the two locks are separate files";
}
}
