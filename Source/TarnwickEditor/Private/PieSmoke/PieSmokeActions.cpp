// The four smoke actions as the editor's handler table binds them: the two starts, poll and stop. Poll and stop
// read the observer's registry; neither advances PIE.
#include "TarnwickEditorHandlers.h"

#include "PieSmoke/PieSmokeObserver.h"
#include "PieSmoke/PieSmokeStart.h"
#include "PieSmoke/SmokeParamReaders.h"
#include "Printf.h"

namespace Tarnwick::Editor
{
namespace
{
using namespace Tarnwick::PieSmoke;

FJson ParamsOf(const FJsonPtr& Params)
{
	return Params && Params->is_object() ? *Params : FJson::object();
}

FTarnwickActionResult PollPieSmoke(const FJsonPtr& ParamsPtr)
{
	const FJson Params = ParamsOf(ParamsPtr);
	const std::string Id = ReadString(Params, "session_id");
	if (Id.empty()) return FTarnwickActionResult("poll_pie_smoke requires a session_id.", Tarnwick::ErrorCodes::InternalError);
	FPieSmokeSession* Session = FPieSmokeObserver::Get().Find(Id);
	if (!Session)
	{
		return FTarnwickActionResult(Tarnwick::Printf("Unknown PIE-smoke session '%s'.", Id.c_str()), Tarnwick::ErrorCodes::InternalError);
	}
	return FTarnwickActionResult::Success(FPieSmokeObserver::Get().BuildReport(*Session, ReadBool(Params, "include_samples", false)));
}

FTarnwickActionResult StopPieSmoke(const FJsonPtr& ParamsPtr)
{
	const FJson Params = ParamsOf(ParamsPtr);
	const std::string Id = ReadString(Params, "session_id");
	FPieSmokeObserver& Observer = FPieSmokeObserver::Get();
	FJson Out = FJson::object();
	Out["stopped"] = Observer.Stop(Id);
	if (Id.empty()) return FTarnwickActionResult::Success(std::move(Out));
	if (FPieSmokeSession* Session = Observer.Find(Id))
	{
		Out["report"] = Observer.BuildReport(*Session, false);
	}
	else
	{
		Out["warning"] = Tarnwick::Printf("Unknown session '%s' — nothing to stop.", Id.c_str());
	}
	return FTarnwickActionResult::Success(std::move(Out));
}
}

void AddPieSmokeHandlers(FTarnwickHandlerTable& Table, FTarnwickLogCapture* Capture)
{
	FPieSmokeObserver::Get().SetLogCapture(Capture);
	Table.Add("editor", "run_pie_smoke", [](const FJsonPtr& Params) { return StartSmokeSession(Params, ESmokeAction::RunPieSmoke); });
	Table.Add("editor", "capture_pie_movement_clip", [](const FJsonPtr& Params) { return StartSmokeSession(Params, ESmokeAction::CaptureClip); });
	Table.Add("editor", "poll_pie_smoke", PollPieSmoke);
	Table.Add("editor", "stop_pie_smoke", StopPieSmoke);
}

void ShutdownPieSmoke()
{
	FPieSmokeObserver::Get().Reset();
	FPieSmokeObserver::Get().SetLogCapture(nullptr);
}
}
