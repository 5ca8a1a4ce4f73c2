// start_pie, stop_pie, start_play, stop_play, pause_pie, resume_pie, step_pie and is_pie_active. Every failure
// is -32603, malformed parameters included: these actions act on the editor's state and have no validation
// errors of their own. "The PIE world" is always Tarnwick::GetPIEWorld(): the first PIE world context with a
// live world.
#include "TarnwickEditorHandlers.h"

#include "Editor.h"
#include "Pie/PieBlueprintErrors.h"
#include "Pie/PieRules.h"
#include "Pie/PieStepTicker.h"
#include "PieSmoke/TarnwickPieOwnership.h"
#include "Printf.h"
#include "TarnwickEngineUtils.h"
#include "World.h"

#include <string>
#include <utility>

namespace Tarnwick::Editor
{
namespace
{
constexpr const char* NoPieSession = "No PIE session is active";
constexpr const char* StartPlayHint = "PIE starts asynchronously. Poll editor.is_pie_active until active==true.";
constexpr const char* StopPlayHint = "PIE tears down asynchronously. Poll editor.is_pie_active until active==false.";
constexpr const char* SmokeOwnerHint =
	"This PIE belongs to a run_pie_smoke session and ends when its duration elapses. Put in-session actions in the "
	"session spec (input_events, probe_scripts, stages) rather than issuing them from outside.";

FTarnwickActionResult Fail(std::string Message)
{
	return FTarnwickActionResult(std::move(Message), Tarnwick::ErrorCodes::InternalError);
}

FTarnwickActionResult NoEditor()
{
	return Fail("GEditor not available");
}

/** A start_play still waiting for its frame would otherwise start PIE right after the stop that meant to end it. */
void CancelQueuedStart()
{
	if (GEditor->HasPlaySessionRequest()) GEditor->CancelRequestPlaySession();
}

FTarnwickActionResult StartPie()
{
	if (!GUnrealEd) return Fail("GUnrealEd not available");
	if (Tarnwick::GetPIEWorld()) return FTarnwickActionResult::Success(FJson{{"started", false}, {"reason", "PIE already running"}});
	// Started within this call, into the level editor's active viewport, unlike start_play's queued request.
	GUnrealEd->RequestPlaySession(FRequestPlaySessionParams());
	std::string Error;
	if (!GUnrealEd->StartQueuedPlaySessionRequest(&Error))
	{
		// A refused start must not leave its request queued to start PIE on some later frame.
		GUnrealEd->CancelRequestPlaySession();
		return Fail(Tarnwick::Printf("Failed to start PIE: %s", Error.c_str()));
	}
	return FTarnwickActionResult::Success(FJson{{"started", true}, {"mode", "in_viewport"}});
}

FTarnwickActionResult StopPie()
{
	if (!GEditor) return NoEditor();
	CancelQueuedStart();
	GEditor->RequestEndPlayMap();
	return FTarnwickActionResult::Success(FJson{{"stopped", true}});
}

FTarnwickActionResult StartPlay()
{
	if (!GEditor) return NoEditor();
	if (const UWorld* World = Tarnwick::GetPIEWorld())
	{
		return FTarnwickActionResult::Success(FJson{
			{"ok", true}, {"requested", false}, {"already_active", true}, {"world_name", World->GetName()}});
	}
	// Listed before the request: these are what would hold the start at the editor's compile-error modal.
	FJson Errored = Tarnwick::Pie::ListErroredBlueprints();
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	FJson Out = FJson::object();
	Out["ok"] = true;
	Out["requested"] = true;
	Out["already_active"] = false;
	Out["hint"] = StartPlayHint;
	Out["blueprint_compile_errors"] = std::move(Errored);
	return FTarnwickActionResult::Success(std::move(Out));
}

FTarnwickActionResult StopPlay()
{
	if (!GEditor) return NoEditor();
	Tarnwick::Pie::CancelPieStep();
	CancelQueuedStart();
	if (!Tarnwick::GetPIEWorld())
	{
		return FTarnwickActionResult::Success(FJson{{"ok", true}, {"requested", false}, {"was_active", false}});
	}
	GEditor->RequestEndPlayMap();
	return FTarnwickActionResult::Success(
		FJson{{"ok", true}, {"requested", true}, {"was_active", true}, {"hint", StopPlayHint}});
}

FTarnwickActionResult SetPaused(bool bPaused)
{
	UWorld* World = Tarnwick::GetPIEWorld();
	if (!World) return Fail(NoPieSession);
	// A resume also ends a pending step, which would otherwise pause the game again a few ticks later.
	if (!bPaused) Tarnwick::Pie::CancelPieStep();
	UGameplayStatics::SetGamePaused(World, bPaused);
	return FTarnwickActionResult::Success(FJson{{"paused", bPaused}, {"world_name", World->GetName()}});
}

FTarnwickActionResult StepPie(const FJsonPtr& Params)
{
	if (!Tarnwick::GetPIEWorld()) return Fail(NoPieSession);
	const int32 Frames = Tarnwick::Pie::ReadStepFrames(Params);
	Tarnwick::Pie::StartPieStep(Frames);
	return FTarnwickActionResult::Success(FJson{{"success", true}, {"stepped", Frames}, {"will_repause", true}});
}

FTarnwickActionResult IsPieActive()
{
	const UWorld* World = Tarnwick::GetPIEWorld();
	FJson Out = FJson::object();
	Out["active"] = World != nullptr;
	if (!World)
	{
		Out["is_paused"] = false;
		Out["is_simulating"] = false;
		return FTarnwickActionResult::Success(std::move(Out));
	}
	Out["is_paused"] = UGameplayStatics::IsGamePaused(World);
	Out["is_simulating"] = GEditor && GEditor->IsSimulatingInEditor();
	Out["world_name"] = World->GetName();
	Out["world_type"] = Tarnwick::Pie::WorldTypeName(World->GetWorldType());
	if (const auto Owner = Tarnwick::PieSmoke::FindSmokeSessionOwning(World))
	{
		Out["owner"] = "smoke";
		Out["session_id"] = Owner->SessionId;
		Out["session_ready"] = Owner->bSessionReady;
		Out["hint"] = SmokeOwnerHint;
	}
	else
	{
		Out["owner"] = "user";
	}
	return FTarnwickActionResult::Success(std::move(Out));
}
}

void AddPieHandlers(FTarnwickHandlerTable& Table)
{
	Table.Add("editor", "start_pie", [](const FJsonPtr&) { return StartPie(); });
	Table.Add("editor", "stop_pie", [](const FJsonPtr&) { return StopPie(); });
	Table.Add("editor", "start_play", [](const FJsonPtr&) { return StartPlay(); });
	Table.Add("editor", "stop_play", [](const FJsonPtr&) { return StopPlay(); });
	Table.Add("editor", "pause_pie", [](const FJsonPtr&) { return SetPaused(true); });
	Table.Add("editor", "resume_pie", [](const FJsonPtr&) { return SetPaused(false); });
	Table.Add("editor", "step_pie", [](const FJsonPtr& Params) { return StepPie(Params); });
	Table.Add("editor", "is_pie_active", [](const FJsonPtr&) { return IsPieActive(); });
}
}
