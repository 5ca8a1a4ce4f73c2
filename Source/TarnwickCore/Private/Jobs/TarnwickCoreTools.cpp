#include "TarnwickCoreTools.h"

#include "Printf.h"
#include "TarnwickAsyncJobRegistry.h"
#include "TarnwickDiagnostics.h"
#include "TarnwickParamSchemaBuilder.h"
#include "TarnwickToolRegistry.h"
#include "Mcp/TarnwickToolSchema.h"

namespace Tarnwick::CoreTools
{
namespace
{
FTarnwickActionResult UnknownJob(const std::string& JobId)
{
	return Diagnostics::MakeValidationError("job_id",
		Tarnwick::Printf("Unknown async job '%s' (finished jobs are kept for polling, at most %zu of them)", JobId.c_str(),
			FTarnwickAsyncJobRegistry::MaxFinishedJobs),
		"List known jobs with brindle_list_async_jobs.");
}

FTarnwickActionResult GetAsyncJob(const FJsonPtr& Params)
{
	std::string JobId;
	FTarnwickActionResult Error;
	if (!Diagnostics::RequireString(Params, "job_id", JobId, Error)) return Error;
	const auto Job = FTarnwickAsyncJobRegistry::Get().GetJob(JobId);
	if (!Job) return UnknownJob(JobId);
	return FTarnwickActionResult::Success(Job->ToJson());
}

FTarnwickActionResult ListAsyncJobs(const FJsonPtr&)
{
	FJson Jobs = FJson::array();
	int Running = 0;
	for (const FTarnwickAsyncJob& Job : FTarnwickAsyncJobRegistry::Get().ListJobs())
	{
		FJson Entry = Job.ToJson();
		Entry.erase("result");
		Jobs.push_back(std::move(Entry));
		Running += Job.IsFinished() ? 0 : 1;
	}
	FJson Out = FJson::object();
	const size_t Count = Jobs.size();
	Out["jobs"] = std::move(Jobs);
	Out["count"] = Count;
	Out["running_count"] = Running;
	return FTarnwickActionResult::Success(std::move(Out));
}

FTarnwickActionResult CancelAsyncJob(const FJsonPtr& Params)
{
	std::string JobId;
	FTarnwickActionResult Error;
	if (!Diagnostics::RequireString(Params, "job_id", JobId, Error)) return Error;
	std::string Reason = "Cancelled by client";
	if (Params && Params->contains("reason") && (*Params)["reason"].is_string() && !(*Params)["reason"].get<std::string>().empty())
	{
		Reason = (*Params)["reason"].get<std::string>();
	}
	FTarnwickAsyncJobRegistry& Jobs = FTarnwickAsyncJobRegistry::Get();
	const auto Before = Jobs.GetJob(JobId);
	if (!Before) return UnknownJob(JobId);
	if (Before->IsFinished())
	{
		return FTarnwickActionResult(
			Tarnwick::Printf("Async job '%s' already finished (%s); nothing to cancel", JobId.c_str(), ToString(Before->State)),
			ErrorCodes::InternalError);
	}
	Jobs.CancelJob(JobId, Reason);
	FJson Out = Jobs.GetJob(JobId)->ToJson();
	return FTarnwickActionResult::Success(std::move(Out));
}

FTarnwickActionResult DescribeAction(const FJsonPtr& Params)
{
	std::string Name;
	FTarnwickActionResult Error;
	if (!Diagnostics::RequireString(Params, "action", Name, Error)) return Error;
	const FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	const std::optional<FTarnwickActionInfo> Info = Registry.FindTool(Name);
	if (!Info)
	{
		return Diagnostics::MakeValidationError("action",
			Tarnwick::Printf("Unknown action '%s'; name it as <namespace>.<action> (editor.get_recent_logs) or as its tool name",
				Name.c_str()),
			"");
	}
	FJson Out = FJson::object();
	Out["tool"] = Info->ToolName();
	Out["namespace"] = Info->Namespace;
	Out["action"] = Info->Action;
	Out["description"] = Info->Description;
	Out["input_schema"] = Mcp::ToInputSchema(Info->ParamSchema ? *Info->ParamSchema : FJson::object());
	Out["parameters"] = Info->ParamSchema ? *Info->ParamSchema : FJson::object();
	if (!Info->Family.empty()) Out["family"] = Info->Namespace + "." + Info->Family;
	return FTarnwickActionResult::Success(std::move(Out));
}
}

void Register()
{
	FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	Registry.RegisterAction(Namespace, "get_async_job",
		"Poll an asynchronous job started by an action that returned async_job_id: status (running, completed, failed, cancelled), "
		"progress, last message, times, and the result or error once finished.",
		&GetAsyncJob, FTarnwickParamSchemaBuilder().Required("job_id", "string", "The async_job_id the starting action returned.").Build(), "");
	Registry.RegisterAction(Namespace, "list_async_jobs",
		"List the asynchronous jobs of this editor session, oldest first (finished jobs are kept for polling).",
		&ListAsyncJobs, FTarnwickParamSchemaBuilder().Build(), "");
	Registry.RegisterAction(Namespace, "cancel_async_job",
		"Cancel a running asynchronous job; its owner stops the work and the job ends as cancelled.",
		&CancelAsyncJob,
		FTarnwickParamSchemaBuilder()
			.Required("job_id", "string", "The async_job_id to cancel.")
			.Optional("reason", "string", "Why the job is cancelled; kept as the job's error text.", "Cancelled by client")
			.Build(),
		"");
	Registry.RegisterAction(Namespace, "describe_action",
		"Describe one action: its description, parameters (with types, defaults and required marks) and input schema. "
		"Use it with grouped tools, which list actions by name only.",
		&DescribeAction,
		FTarnwickParamSchemaBuilder().Required("action", "string", "The action as <namespace>.<action>, e.g. editor.get_recent_logs.").Build(),
		"");
	Registry.SetAnnotations(Namespace, "describe_action", FTarnwickToolAnnotations::ReadOnly());
	Registry.SetAnnotations(Namespace, "get_async_job", FTarnwickToolAnnotations::ReadOnly());
	Registry.SetAnnotations(Namespace, "list_async_jobs", FTarnwickToolAnnotations::ReadOnly());
	Registry.SetAnnotations(Namespace, "cancel_async_job", FTarnwickToolAnnotations::Destructive());
	for (const char* Action : {"get_async_job", "list_async_jobs", "cancel_async_job"})
	{
		Registry.SetFamily(Namespace, Action, "jobs");
	}
}

void Unregister()
{
	FTarnwickToolRegistry::Get().UnregisterNamespace(Namespace);
}
}
