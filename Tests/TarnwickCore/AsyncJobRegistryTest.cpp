#include "TarnwickTestHelpers.h"

#include "PlatformTime.h"
#include "TarnwickCoreTools.h"
#include "TarnwickTimeFormat.h"

using Tarnwick::Test::FRegistryTest;

namespace
{
/** A clock the test moves by hand. */
struct FManualClock : Tarnwick::Host::IPlatformClock
{
	double Now = 100.0;
	double Seconds() const override { return Now; }
	double UtcNow() const override { return 1'700'000'000.0 + Now; }
};
}

class AsyncJobRegistryTest : public FRegistryTest
{
protected:
	FManualClock Clock;
	void SetUp() override
	{
		FRegistryTest::SetUp();
		Tarnwick::Host::SetClock(&Clock);
	}
	void TearDown() override
	{
		Tarnwick::Host::SetClock(nullptr);
		FRegistryTest::TearDown();
	}
	FTarnwickAsyncJobRegistry& Jobs = FTarnwickAsyncJobRegistry::Get();
};

TEST_F(AsyncJobRegistryTest, LifecycleKeepsStateTimesAndPayload)
{
	const std::string Id = Jobs.CreateJob("editor", "build_lighting");
	EXPECT_EQ(Jobs.GetJob(Id)->State, ETarnwickJobState::Running);
	EXPECT_DOUBLE_EQ(Jobs.GetJob(Id)->CreatedAt, 100.0);

	Clock.Now = 101.5;
	Jobs.UpdateProgress(Id, -1.0f, "Building lighting");
	const FJson Running = Jobs.GetJob(Id)->ToJson();
	EXPECT_EQ(Running["status"], "running");
	EXPECT_TRUE(Running["progress"].is_null()) << "negative progress means unknown";
	EXPECT_EQ(Running["message"], "Building lighting");
	EXPECT_EQ(Running["finished_at"], "never");
	EXPECT_DOUBLE_EQ(Running["elapsed_seconds"].get<double>(), 1.5);

	Clock.Now = 103.0;
	Jobs.CompleteJob(Id, MakeJsonObject(FJson{{"built", true}}));
	const FJson Done = Jobs.GetJob(Id)->ToJson();
	EXPECT_EQ(Done["status"], "completed");
	EXPECT_EQ(Done["result"]["built"], true);
	EXPECT_DOUBLE_EQ(Done["elapsed_seconds"].get<double>(), 3.0);
	EXPECT_EQ(Done["finished_at"], Tarnwick::FormatUtc(1'700'000'000.0 + 103.0));

	// A finished job ignores later updates.
	Jobs.FailJob(Id, "late");
	Jobs.UpdateProgress(Id, 0.5f, "late");
	EXPECT_EQ(Jobs.GetJob(Id)->State, ETarnwickJobState::Completed);
	EXPECT_EQ(Jobs.GetJob(Id)->Message, "Building lighting");
}

TEST_F(AsyncJobRegistryTest, FailAndCancel)
{
	const std::string A = Jobs.CreateJob("editor", "cook_content");
	const std::string B = Jobs.CreateJob("editor", "package_project");
	EXPECT_NE(A, B);
	Jobs.FailJob(A, "UAT exited with code 1");
	EXPECT_EQ(Jobs.GetJob(A)->ToJson()["error"], "UAT exited with code 1");

	std::string HandlerReason;
	Jobs.SetCancelHandler(B, [&](const std::string& Reason) { HandlerReason = Reason; });
	EXPECT_TRUE(Jobs.CancelJob(B, "user asked"));
	EXPECT_EQ(HandlerReason, "user asked") << "the owner is told so it can stop its work";
	EXPECT_EQ(Jobs.GetJob(B)->State, ETarnwickJobState::Cancelled);
	EXPECT_FALSE(Jobs.CancelJob(B, "again"));
	EXPECT_FALSE(Jobs.CancelJob("job_missing", ""));
}

TEST_F(AsyncJobRegistryTest, OldestFinishedJobsBeyondTheBoundAreDropped)
{
	const std::string Running = Jobs.CreateJob("editor", "long");
	std::vector<std::string> Ids;
	for (size_t I = 0; I < FTarnwickAsyncJobRegistry::MaxFinishedJobs + 5; ++I)
	{
		Ids.push_back(Jobs.CreateJob("editor", "short"));
		Jobs.CompleteJob(Ids.back(), nullptr);
	}
	EXPECT_FALSE(Jobs.GetJob(Ids.front()));
	EXPECT_FALSE(Jobs.GetJob(Ids[4]));
	EXPECT_TRUE(Jobs.GetJob(Ids[5]));
	EXPECT_TRUE(Jobs.GetJob(Running)) << "running jobs are never dropped";
	const auto List = Jobs.ListJobs();
	EXPECT_EQ(List.size(), FTarnwickAsyncJobRegistry::MaxFinishedJobs + 1);
	EXPECT_EQ(List.front().Id, Running);
}

TEST_F(AsyncJobRegistryTest, CoreToolsPollListAndCancel)
{
	Tarnwick::CoreTools::Register();
	auto& Registry = FTarnwickToolRegistry::Get();
	const std::string Id = Jobs.CreateJob("editor", "rebuild_navigation");

	FTarnwickActionResult R = Registry.ExecuteAction("brindle", "get_async_job", MakeJsonObject(FJson{{"job_id", Id}}));
	ASSERT_TRUE(R.bSuccess);
	EXPECT_EQ((*R.Result)["job_id"], Id);

	R = Registry.ExecuteAction("brindle", "get_async_job", nullptr);
	EXPECT_EQ(R.ErrorCode, -32602);
	EXPECT_EQ(R.ErrorMessage, "Missing required parameter 'job_id'");

	R = Registry.ExecuteAction("brindle", "list_async_jobs", nullptr);
	EXPECT_EQ((*R.Result)["count"], 1);
	EXPECT_EQ((*R.Result)["running_count"], 1);

	R = Registry.ExecuteAction("brindle", "cancel_async_job", MakeJsonObject(FJson{{"job_id", Id}, {"reason", "stop"}}));
	ASSERT_TRUE(R.bSuccess);
	EXPECT_EQ((*R.Result)["status"], "cancelled");
	EXPECT_EQ((*R.Result)["error"], "stop");

	R = Registry.ExecuteAction("brindle", "cancel_async_job", MakeJsonObject(FJson{{"job_id", Id}}));
	EXPECT_EQ(R.ErrorCode, -32603);
	EXPECT_EQ(R.ErrorMessage, "Async job '" + Id + "' already finished (cancelled); nothing to cancel");
}
