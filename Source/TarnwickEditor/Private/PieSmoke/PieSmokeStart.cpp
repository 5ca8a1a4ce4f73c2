// The start handlers of run_pie_smoke and capture_pie_movement_clip: everything that happens before a session
// is handed to the observer. Every refusal comes before PIE starts and leaves nothing running; after the start
// the handler only writes the marker, runs the start scripts and registers the session, then returns at once.
#include "PieSmoke/PieSmokeStart.h"

#include "Catalogue/TarnwickActionCatalogue.h"
#include "Editor.h"
#include "Pie/PieBlueprintErrors.h"
#include "PieSmoke/ClipCapture.h"
#include "PieSmoke/PieSmokeMapLoader.h"
#include "PieSmoke/PieSmokeObserver.h"
#include "PieSmoke/PieSmokeSpecParser.h"
#include "PieSmoke/ScriptRunner.h"
#include "PieSmoke/SmokeParamReaders.h"
#include "PieSmoke/SmokeParamShape.h"
#include "PlatformTime.h"
#include "Printf.h"
#include "TarnwickEngineUtils.h"
#include "TarnwickLog.h"
#include "TarnwickTimeFormat.h"
#include "World.h"

#include <memory>

namespace Tarnwick::PieSmoke
{
namespace
{
FTarnwickActionResult Refuse(std::string Message, FJsonPtr Data = nullptr)
{
	return FTarnwickActionResult::Error(std::move(Message), Tarnwick::ErrorCodes::InternalError, std::move(Data));
}

FJson StringsJson(const std::vector<std::string>& Values)
{
	FJson Out = FJson::array();
	for (const std::string& V : Values) Out.push_back(V);
	return Out;
}

const std::vector<std::string>& AcceptedKeysOf(ESmokeAction Action)
{
	static const auto Build = [](ESmokeAction A) {
		std::vector<std::string> Documented;
		for (const FTarnwickActionSpec& Spec : GetFullActionCatalogue())
		{
			if (Spec.Namespace != "editor" || Spec.Action != ActionName(A)) continue;
			for (const FTarnwickParamSpec& Param : Spec.Params) Documented.push_back(Param.Name);
		}
		return AcceptedKeys(A, Documented);
	};
	static const std::vector<std::string> Run = Build(ESmokeAction::RunPieSmoke);
	static const std::vector<std::string> Clip = Build(ESmokeAction::CaptureClip);
	return Action == ESmokeAction::CaptureClip ? Clip : Run;
}

/** PIE in the active level viewport, started within this call. False with the starter's reason. */
bool StartPie(bool bSuppressCompileErrorModal, std::string& OutReason)
{
	if (!GUnrealEd)
	{
		OutReason = "GUnrealEd not available";
		return false;
	}
	if (Tarnwick::GetPIEWorld())
	{
		OutReason = "PIE already running";
		return false;
	}
	FRequestPlaySessionParams Request;
	Request.bSuppressBlueprintCompileErrorModal = bSuppressCompileErrorModal;
	GUnrealEd->RequestPlaySession(Request);
	if (!GUnrealEd->StartQueuedPlaySessionRequest(&OutReason))
	{
		// A refused start must not leave its request queued to start PIE on some later frame.
		GUnrealEd->CancelRequestPlaySession();
		return false;
	}
	return true;
}
}

FTarnwickActionResult StartSmokeSession(const FJsonPtr& ParamsPtr, ESmokeAction Action)
{
	const FJson Params = ParamsPtr && ParamsPtr->is_object() ? *ParamsPtr : FJson::object();
	const char* Name = ActionName(Action);
	const bool bClip = Action == ESmokeAction::CaptureClip;

	if (!GEditor || !GUnrealEd) return Refuse(Tarnwick::Printf("%s requires editor context (GEditor/GUnrealEd).", Name));
	if (Tarnwick::GetPIEWorld()) return Refuse(Tarnwick::Printf("A PIE session is already running — stop it before %s.", Name));
	if (const std::optional<std::string> ShapeError = CheckSmokeParamShapes(Params, Action, AcceptedKeysOf(Action)))
	{
		return FTarnwickActionResult::Error(*ShapeError, Tarnwick::ErrorCodes::InvalidParams);
	}

	auto Session = std::make_unique<FPieSmokeSession>();
	FPieSmokeSpec& Spec = Session->Spec;
	Spec.Action = Action;
	Spec.Marker = ReadString(Params, "marker", bClip ? "TARNWICK_CLIP" : "TARNWICK_SMOKE");
	Spec.Duration = FPieSmokeSpecParser::ReadDuration(Params);
	Spec.bSuppressCompileErrors = !bClip && EqualsIgnoreCase(ReadString(Params, "on_compile_errors", "refuse"), "suppress");
	Spec.Map = ReadString(Params, "map");
	if (bClip)
	{
		Spec.CaptureInterval = FPieSmokeSpecParser::ReadCaptureInterval(Params);
		Spec.OutputPath = ReadString(Params, "output_path");
		const FOutputDirectory Output = ResolveAndCreateOutputDirectory(Spec.OutputPath, FormatLocalStamp(Tarnwick::Host::GetClock().UtcNow()));
		if (!Output.Error.empty()) return Refuse(Output.Error);
		Session->Clip.bIsClip = true;
		Session->Clip.OutputDir = Output.Directory;
		Session->Clip.CaptureInterval = Spec.CaptureInterval;
	}

	if (const std::optional<std::string> MapError = LoadSmokeMap(Spec.Map)) return Refuse(*MapError);

	if (!bClip)
	{
		const FJson Errored = Tarnwick::Pie::ListErroredBlueprints();
		if (!Errored.empty() && !Spec.bSuppressCompileErrors)
		{
			const int Count = static_cast<int>(Errored.size());
			return Refuse(Tarnwick::Printf("run_pie_smoke refused: %d Blueprint(s) have unresolved compile errors. Starting PIE would raise a "
										   "blocking modal that freezes the editor + MCP server. Fix the Blueprints, or pass "
										   "on_compile_errors=\"suppress\" to PIE anyway.", Count),
				MakeJsonObject(FJson{{"errored_blueprint_count", Count}, {"errored_blueprints", Errored}}));
		}
	}

	FSpecRefusal Refusal;
	if (!FPieSmokeSpecParser::Parse(Params, Spec, Session->Sampling, Refusal))
	{
		FJson Data = FJson{{"unsatisfiable_expectations", StringsJson(Refusal.UnsatisfiableExpectations)}};
		if (!bClip) Data["sampled_vars"] = StringsJson(Refusal.SampledVars);
		return Refuse(Refusal.Message, MakeJsonObject(std::move(Data)));
	}
	Session->Clip.DiscardFirstFrames = Spec.DiscardFirstFrames;

	if (Spec.Stages.PrePie.bPresent)
	{
		Spec.Stages.PrePie.bFired = true;
		Spec.Stages.PrePie.FiredAt = 0.0;
		Spec.Stages.PrePie.Outcome = RunScripts(Spec.Stages.PrePie.Script, GEditor->GetEditorWorld());
	}

	std::string Reason;
	if (!StartPie(Spec.bSuppressCompileErrors, Reason)) return Refuse(Tarnwick::Printf("Failed to start PIE: %s", Reason.c_str()));

	UWorld* PieWorld = Tarnwick::GetPIEWorld();
	Session->MapName = PieWorld ? PieWorld->GetMapName() : "<current>";
	// Every log rule of the session counts from this line.
	if (bClip)
	{
		TW_LOG(LogTarnwick, Display, "%s begin", Spec.Marker.c_str());
	}
	else
	{
		TW_LOG(LogTarnwick, Display, "%s begin (map=%s)", Spec.Marker.c_str(), Session->MapName.c_str());
	}
	FScriptBlock StartScripts;
	StartScripts.Console = Spec.ConsoleScript;
	StartScripts.Python = Spec.PythonScript;
	if (StartScripts.HasWork())
	{
		const FScriptOutcome Outcome = RunScripts(StartScripts, PieWorld);
		if (!Spec.PythonScript.empty() && !Outcome.bPythonOk)
		{
			TW_LOG(LogTarnwick, Warning, "%s: python_script failed: %s", Name, Outcome.PythonOutput.c_str());
		}
	}

	const double Now = FPlatformTime::Seconds();
	FPieSmokeRuntime& R = Session->Runtime;
	R.RegistrationWall = Now;
	R.LastWall = Now;
	R.WallDeadline = Now + Spec.MaxWallSeconds;
	R.bSettleRequested = Spec.bSettle;
	Session->PieWorld = PieWorld;
	Session->ViewTarget.Requested = Spec.ViewTargetActor;
	Session->Identity.ExpectedAnimClass = Spec.ExpectedAnimClass;
	Session->Profiling.bCsvRequested = Spec.bCsvProfile;
	Session->Profiling.TraceChannels = Spec.TraceChannels;

	const std::string OutputDir = Session->Clip.OutputDir;
	const std::string Marker = Spec.Marker;
	const double Duration = Spec.Duration;
	const double CaptureInterval = Spec.CaptureInterval;
	const std::string Id = FPieSmokeObserver::Get().Register(std::move(Session));

	FJson Out = FJson::object();
	Out["session_id"] = Id;
	Out["status"] = "running";
	Out["started"] = true;
	Out["marker"] = Marker;
	if (bClip)
	{
		Out["output_dir"] = OutputDir;
		Out["resolved_output_dir"] = OutputDir;
	}
	Out["duration"] = Duration;
	if (bClip) Out["capture_interval"] = CaptureInterval;
	return FTarnwickActionResult::Success(std::move(Out));
}
}
