// Jobs that outlive one call (packaging, cooking, lighting builds, editor utility tasks). The starting action
// returns the job id; clients poll it with "brindle_get_async_job". Updates come from game-thread tickers.
//
// Finished jobs stay readable for polling; beyond 1000 finished jobs the oldest finished ones are dropped.
#pragma once
#include "HostTypes.h"
#include "TarnwickJson.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

enum class ETarnwickJobState
{
	Running,
	Completed,
	Failed,
	Cancelled,
};

const char* ToString(ETarnwickJobState State);

struct FTarnwickAsyncJob
{
	std::string Id;
	std::string Namespace;
	std::string Action;
	ETarnwickJobState State = ETarnwickJobState::Running;
	/** 0..1, or negative when unknown. */
	float Progress = -1.0f;
	std::string Message;
	FJsonPtr Result;
	std::string Error;
	/** Host clock seconds. FinishedAt is 0 while running. */
	double CreatedAt = 0.0;
	double UpdatedAt = 0.0;
	double FinishedAt = 0.0;

	bool IsFinished() const { return State != ETarnwickJobState::Running; }
	/** The JSON a poll answers, keys in a fixed order. */
	FJson ToJson() const;
};

class FTarnwickAsyncJobRegistry
{
public:
	static constexpr size_t MaxFinishedJobs = 1000;

	static FTarnwickAsyncJobRegistry& Get();

	std::string CreateJob(const std::string& Namespace, const std::string& Action);
	/** Called when a client cancels the job, before it is marked cancelled; lets the owner stop its work. */
	void SetCancelHandler(const std::string& JobId, std::function<void(const std::string& Reason)> Handler);
	void UpdateProgress(const std::string& JobId, float Progress, const std::string& Message);
	void CompleteJob(const std::string& JobId, FJsonPtr Result);
	void FailJob(const std::string& JobId, const std::string& ErrorMessage);
	/** Returns false when the job is unknown or already finished. */
	bool CancelJob(const std::string& JobId, const std::string& Reason);

	std::optional<FTarnwickAsyncJob> GetJob(const std::string& JobId) const;
	/** All kept jobs, oldest first. */
	std::vector<FTarnwickAsyncJob> ListJobs() const;

	void ResetForTests();

private:
	FTarnwickAsyncJob* Find(const std::string& JobId);
	void Finish(FTarnwickAsyncJob& Job, ETarnwickJobState State);
	void TrimFinished();

	std::map<std::string, FTarnwickAsyncJob> Jobs;
	std::vector<std::string> Order;
	std::map<std::string, std::function<void(const std::string&)>> CancelHandlers;
	uint64 Counter = 0;
};
