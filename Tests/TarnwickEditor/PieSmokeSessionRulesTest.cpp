// The clock and verdict rules of a session: the settle gate, the quiescence order, lifecycle labels, the
// determinism notes in their order, and when ok holds.
#include "PieSmoke/SessionRules.h"
#include "Quiescence.h"

#include <gtest/gtest.h>

using namespace Tarnwick::PieSmoke;

namespace
{
class FFakeQuiescence final : public IQuiescence
{
public:
	bool bLoading = false;
	int32 Wanting = 0;
	bool bShaderManager = true;
	int32 ShaderRemaining = 0;
	bool bAssets = false;
	bool bPartition = false;
	bool bPartitionDone = true;

	bool IsAsyncLoading() const override { return bLoading; }
	int32 GetNumWantingResources() const override { return Wanting; }
	bool HasShaderCompilingManager() const override { return bShaderManager; }
	int32 GetNumRemainingShaderJobs() const override { return ShaderRemaining; }
	int32 GetNumPendingShaderJobs() const override { return 0; }
	bool HasShaderJobsOutstanding() const override { return false; }
	int32 GetNumRemainingAssets() const override { return bAssets ? 1 : 0; }
	bool HasWorldPartitionSubsystem(const UWorld*) const override { return bPartition; }
	bool IsWorldPartitionStreamingCompleted(const UWorld*) const override { return bPartitionDone; }
};
}

TEST(PieSmokeSessionRules, TheFirstBusySubsystemIsNamedInOrder)
{
	FFakeQuiescence Q;
	const UWorld* World = nullptr;
	EXPECT_FALSE(FindBusySubsystem(&Q, World));
	EXPECT_FALSE(FindBusySubsystem(nullptr, World));
	Q.bPartition = true;
	Q.bPartitionDone = false;
	EXPECT_FALSE(FindBusySubsystem(&Q, World)) << "world-partition streaming is a question about a world";
	Q.bAssets = true;
	EXPECT_EQ(FindBusySubsystem(&Q, World), "asset_compilation");
	Q.ShaderRemaining = 4;
	EXPECT_EQ(FindBusySubsystem(&Q, World), "shader_compilation");
	Q.bShaderManager = false;
	EXPECT_EQ(FindBusySubsystem(&Q, World), "asset_compilation") << "no shader manager, no shader jobs";
	Q.Wanting = 2;
	EXPECT_EQ(FindBusySubsystem(&Q, World), "texture_streaming");
	Q.bLoading = true;
	EXPECT_EQ(FindBusySubsystem(&Q, World), "async_loading");
}

TEST(PieSmokeSessionRules, TheClockStartsOnTheThirdQuietTick)
{
	FPieSmokeRuntime R;
	R.RegistrationWall = 100.0;
	EXPECT_EQ(StepSettleGate(R, true, 10.0, 100.1, std::string("async_loading")), ESettleOutcome::Hold);
	EXPECT_EQ(R.BlockedBy, "async_loading");
	EXPECT_EQ(StepSettleGate(R, true, 10.0, 100.2, std::nullopt), ESettleOutcome::Hold);
	EXPECT_EQ(StepSettleGate(R, true, 10.0, 100.3, std::nullopt), ESettleOutcome::Hold);
	EXPECT_EQ(StepSettleGate(R, true, 10.0, 100.4, std::string("texture_streaming")), ESettleOutcome::Hold) << "busy resets the count";
	EXPECT_EQ(R.QuietTicks, 0);
	StepSettleGate(R, true, 10.0, 100.5, std::nullopt);
	StepSettleGate(R, true, 10.0, 100.6, std::nullopt);
	EXPECT_EQ(StepSettleGate(R, true, 10.0, 100.7, std::nullopt), ESettleOutcome::Settled);
	EXPECT_TRUE(R.bSettled);
	EXPECT_EQ(R.BlockedBy, "");
	EXPECT_NEAR(R.WaitedSeconds, 0.7, 1e-9);
}

TEST(PieSmokeSessionRules, TheCapIsMeasuredFromRegistrationAndSettleOffWaitsForNothing)
{
	FPieSmokeRuntime R;
	R.RegistrationWall = 50.0;
	EXPECT_EQ(StepSettleGate(R, true, 10.0, 59.9, std::string("world_partition_streaming")), ESettleOutcome::Hold);
	EXPECT_EQ(StepSettleGate(R, true, 10.0, 60.0, std::string("world_partition_streaming")), ESettleOutcome::CapExpired);
	EXPECT_FALSE(R.bSettled);
	EXPECT_EQ(R.BlockedBy, "world_partition_streaming");

	FPieSmokeRuntime Off;
	Off.RegistrationWall = 50.0;
	EXPECT_EQ(StepSettleGate(Off, false, 10.0, 58.0, std::string("async_loading")), ESettleOutcome::SettleOff);
	EXPECT_FALSE(Off.bSettled);
	EXPECT_EQ(Off.WaitedSeconds, 0.0);
}

TEST(PieSmokeSessionRules, SessionTimeFollowsTheChosenClockAndFreezesAtTheEnd)
{
	FPieSmokeRuntime R;
	EXPECT_EQ(LiveSessionTime(R, ESessionClock::Game, 10.0, 3.0), 0.0) << "before the clock starts";
	StartSessionClock(R, 10.0, 2.0, 77);
	EXPECT_EQ(R.FrameAtClockStart, 77u);
	EXPECT_EQ(LiveSessionTime(R, ESessionClock::Game, 15.0, 3.5), 1.5);
	EXPECT_EQ(LiveSessionTime(R, ESessionClock::Wall, 15.0, 3.5), 5.0);
	EXPECT_EQ(LiveSessionTime(R, ESessionClock::Game, 15.0, 1.0), 0.0) << "never negative";
	FreezeClock(R, 1.25, 16.0);
	R.Status = ESessionStatus::Stopped;
	EXPECT_EQ(ElapsedSeconds(R, ESessionClock::Game, 99.0, 99.0), 1.25);
	EXPECT_EQ(R.WallSeconds, 6.0);
}

TEST(PieSmokeSessionRules, LifecycleLabels)
{
	FPieSmokeRuntime R;
	EXPECT_STREQ(LifecycleLabel(R, true), "running");
	R.Status = ESessionStatus::Complete;
	EXPECT_STREQ(LifecycleLabel(R, true), "capture-complete-pie-open");
	EXPECT_STREQ(LifecycleLabel(R, false), "teardown-complete");
	R.bTeardownRequested = true;
	EXPECT_STREQ(LifecycleLabel(R, true), "teardown-started");
	EXPECT_STREQ(LifecycleLabel(R, false), "teardown-complete");
	R.bStoppedByTool = true;
	EXPECT_STREQ(LifecycleLabel(R, true), "stopped-by-tool");
	EXPECT_STREQ(LexToString(static_cast<ESessionStatus>(9)), "unknown");
}

TEST(PieSmokeSessionRules, DeterminismNotesComeInTheirOrderAndHitchesAreAdvisory)
{
	FPieSmokeSpec Spec;
	Spec.bUnthrottle = false;
	Spec.SettleTimeout = 4.0;
	FPieSmokeRuntime R;
	R.bSettleRequested = true;
	R.bSettled = false;
	R.BlockedBy = "shader_compilation";
	R.bWatchdogFired = true;
	R.StalledTicks = 7;
	R.HitchTicks = 2;
	R.DeltaMax = 0.25;
	R.bFocusLost = true;
	const FDeterminismVerdict V = EvaluateDeterminism(R, Spec);
	EXPECT_FALSE(V.bStable);
	ASSERT_EQ(V.Notes.size(), 5u);
	EXPECT_EQ(V.Notes[0], "The world never went quiescent — the 4.0s settle cap expired with shader_compilation still busy, so early samples "
						  "may describe the loader rather than the game.");
	EXPECT_EQ(V.Notes[1].rfind("The wall-clock watchdog ended this session", 0), 0u);
	EXPECT_EQ(V.Notes[2], "Game time stood still for 7 observer tick(s) while wall time advanced — PIE was paused or time-dilated to zero.");
	EXPECT_EQ(V.Notes[3], "Advisory (does not affect stable): 2 frame(s) exceeded 100ms, worst 250ms. Game time is hitch-clamped so the "
						  "timeline is intact, but 2 fewer samples were taken than a smooth run would have produced.");
	EXPECT_EQ(V.Notes[4].rfind("The editor lost foreground focus while unthrottle was off.", 0), 0u);

	FPieSmokeRuntime Hitchy;
	Hitchy.bSettled = true;
	Hitchy.HitchTicks = 1;
	Hitchy.bFocusLost = true;
	Spec.bUnthrottle = true;
	const FDeterminismVerdict H = EvaluateDeterminism(Hitchy, Spec);
	EXPECT_TRUE(H.bStable) << "a hitch, and focus lost while unthrottled, keep the run stable";
	EXPECT_EQ(H.Notes.size(), 1u);
}

TEST(PieSmokeSessionRules, OkNeedsACompletedRunThatBeganPlayAndEveryVerdict)
{
	FPieSmokeRuntime R;
	R.Status = ESessionStatus::Complete;
	R.bBeganPlay = true;
	EXPECT_TRUE(CombineVerdicts(R, false, true, true, true, false).bOk) << "instability matters only with require_stable";
	EXPECT_FALSE(CombineVerdicts(R, true, true, true, true, false).bOk);
	EXPECT_FALSE(CombineVerdicts(R, false, false, true, true, true).bOk);
	EXPECT_FALSE(CombineVerdicts(R, false, true, false, true, true).bOk);
	EXPECT_FALSE(CombineVerdicts(R, false, true, true, false, true).bOk);
	for (ESessionStatus Status : {ESessionStatus::Running, ESessionStatus::Stopped, ESessionStatus::Error})
	{
		R.Status = Status;
		EXPECT_FALSE(CombineVerdicts(R, false, true, true, true, true).bOk) << LexToString(Status);
	}
	R.Status = ESessionStatus::Complete;
	R.bBeganPlay = false;
	EXPECT_FALSE(CombineVerdicts(R, false, true, true, true, true).bOk);
}
