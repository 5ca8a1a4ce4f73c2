#include "TarnwickAsyncJobRegistry.h"

#include "PlatformTime.h"
#include "Printf.h"
#include "TarnwickLog.h"
#include "TarnwickTimeFormat.h"

#include <algorithm>

const char* ToString(ETarnwickJobState State)
{
	switch (State)
	{
	case ETarnwickJobState::Running: return "running";
	case ETarnwickJobState::Completed: return "completed";
	case ETarnwickJobState::Failed: return "failed";
	case ETarnwickJobState::Cancelled: return "cancelled";
	}
	return "unknown";
}

FJson FTarnwickAsyncJob::ToJson() const
{
	const double Now = FPlatformTime::Seconds();
	FJson Out = FJson::object();
	Out["job_id"] = Id;
	Out["namespace"] = Namespace;
	Out["action"] = Action;
	Out["status"] = ToString(State);
	Out["progress"] = Progress < 0.0f ? FJson(nullptr) : FJson(static_cast<double>(Progress));
	Out["message"] = Message;
	Out["created_at"] = Tarnwick::FormatMonotonicAsUtc(CreatedAt);
	Out["updated_at"] = Tarnwick::FormatMonotonicAsUtc(UpdatedAt);
	Out["finished_at"] = Tarnwick::FormatMonotonicAsUtc(FinishedAt);
	Out["elapsed_seconds"] = (IsFinished() ? FinishedAt : Now) - CreatedAt;
	if (State == ETarnwickJobState::Completed)
	{
		Out["result"] = Result ? *Result : FJson::object();
	}
	if (State == ETarnwickJobState::Failed || State == ETarnwickJobState::Cancelled)
	{
		Out["error"] = Error;
	}
	return Out;
}

FTarnwickAsyncJobRegistry& FTarnwickAsyncJobRegistry::Get()
{
	static FTarnwickAsyncJobRegistry Instance;
	return Instance;
}

std::string FTarnwickAsyncJobRegistry::CreateJob(const std::string& Namespace, const std::string& Action)
{
	FTarnwickAsyncJob Job;
	Job.Id = Tarnwick::Printf("job_%llu_%s_%s", static_cast<unsigned long long>(++Counter), Namespace.c_str(), Action.c_str());
	Job.Namespace = Namespace;
	Job.Action = Action;
	Job.CreatedAt = Job.UpdatedAt = FPlatformTime::Seconds();
	Order.push_back(Job.Id);
	std::string Id = Job.Id;
	Jobs.emplace(Id, std::move(Job));
	return Id;
}

FTarnwickAsyncJob* FTarnwickAsyncJobRegistry::Find(const std::string& JobId)
{
	auto It = Jobs.find(JobId);
	return It == Jobs.end() ? nullptr : &It->second;
}

void FTarnwickAsyncJobRegistry::SetCancelHandler(const std::string& JobId, std::function<void(const std::string&)> Handler)
{
	if (Find(JobId))
	{
		CancelHandlers[JobId] = std::move(Handler);
	}
}

void FTarnwickAsyncJobRegistry::UpdateProgress(const std::string& JobId, float Progress, const std::string& Message)
{
	FTarnwickAsyncJob* Job = Find(JobId);
	if (!Job || Job->IsFinished()) return;
	Job->Progress = Progress < 0.0f ? -1.0f : std::min(Progress, 1.0f);
	Job->Message = Message;
	Job->UpdatedAt = FPlatformTime::Seconds();
}

void FTarnwickAsyncJobRegistry::CompleteJob(const std::string& JobId, FJsonPtr Result)
{
	FTarnwickAsyncJob* Job = Find(JobId);
	if (!Job || Job->IsFinished()) return;
	Job->Result = Result ? std::move(Result) : MakeJsonObject();
	Job->Progress = 1.0f;
	Finish(*Job, ETarnwickJobState::Completed);
}

void FTarnwickAsyncJobRegistry::FailJob(const std::string& JobId, const std::string& ErrorMessage)
{
	FTarnwickAsyncJob* Job = Find(JobId);
	if (!Job || Job->IsFinished()) return;
	Job->Error = ErrorMessage;
	Finish(*Job, ETarnwickJobState::Failed);
}

bool FTarnwickAsyncJobRegistry::CancelJob(const std::string& JobId, const std::string& Reason)
{
	FTarnwickAsyncJob* Job = Find(JobId);
	if (!Job || Job->IsFinished()) return false;
	if (auto Handler = CancelHandlers.find(JobId); Handler != CancelHandlers.end())
	{
		// The owner may complete or fail the job from its handler; cancellation only applies if it did not.
		auto Callback = std::move(Handler->second);
		CancelHandlers.erase(Handler);
		Callback(Reason);
		Job = Find(JobId);
		if (!Job || Job->IsFinished()) return true;
	}
	Job->Error = Reason.empty() ? std::string("Cancelled") : Reason;
	Finish(*Job, ETarnwickJobState::Cancelled);
	return true;
}

void FTarnwickAsyncJobRegistry::Finish(FTarnwickAsyncJob& Job, ETarnwickJobState State)
{
	Job.State = State;
	Job.UpdatedAt = Job.FinishedAt = FPlatformTime::Seconds();
	CancelHandlers.erase(Job.Id);
	TrimFinished();
}

void FTarnwickAsyncJobRegistry::TrimFinished()
{
	size_t Finished = 0;
	for (const std::string& Id : Order)
	{
		if (Jobs.at(Id).IsFinished()) ++Finished;
	}
	if (Finished <= MaxFinishedJobs) return;
	size_t ToDrop = Finished - MaxFinishedJobs;
	std::vector<std::string> Kept;
	Kept.reserve(Order.size());
	for (const std::string& Id : Order)
	{
		if (ToDrop > 0 && Jobs.at(Id).IsFinished())
		{
			Jobs.erase(Id);
			--ToDrop;
			continue;
		}
		Kept.push_back(Id);
	}
	Order.swap(Kept);
}

std::optional<FTarnwickAsyncJob> FTarnwickAsyncJobRegistry::GetJob(const std::string& JobId) const
{
	auto It = Jobs.find(JobId);
	if (It == Jobs.end()) return std::nullopt;
	return It->second;
}

std::vector<FTarnwickAsyncJob> FTarnwickAsyncJobRegistry::ListJobs() const
{
	std::vector<FTarnwickAsyncJob> Out;
	Out.reserve(Order.size());
	for (const std::string& Id : Order)
	{
		Out.push_back(Jobs.at(Id));
	}
	return Out;
}

void FTarnwickAsyncJobRegistry::ResetForTests()
{
	Jobs.clear();
	Order.clear();
	CancelHandlers.clear();
	Counter = 0;
}
