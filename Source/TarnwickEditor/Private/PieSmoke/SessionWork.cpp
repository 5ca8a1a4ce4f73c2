#include "PieSmoke/SessionWork.h"

#include "FrameLoop.h"
#include "Logs/LogTextMatch.h"
#include "PieSmoke/ActorSetup.h"
#include "PieSmoke/ClipCapture.h"
#include "PieSmoke/InputEvents.h"
#include "PieSmoke/Profiling.h"
#include "PieSmoke/ScriptRunner.h"
#include "PieSmoke/ViewAndIdentity.h"
#include "World.h"

#include <cmath>

namespace Tarnwick::PieSmoke
{
namespace
{
void FireStage(FStage& Stage, UWorld& World, double T)
{
	if (!Stage.bPresent || Stage.bFired) return;
	Stage.bFired = true;
	Stage.FiredAt = T;
	Stage.Outcome = RunScripts(Stage.Script, &World);
}
}

APawn* ResolveTargetPawn(UWorld& World, const std::string& PawnClass)
{
	if (PawnClass.empty())
	{
		APlayerController* Controller = World.GetFirstPlayerController();
		APawn* Pawn = Controller ? Controller->GetPawn() : nullptr;
		return IsValid(Pawn) ? Pawn : nullptr;
	}
	const Tarnwick::Logs::FCaseInsensitivePattern Pattern(PawnClass);
	for (AActor* Actor : World.GetActors())
	{
		auto* Pawn = Cast<APawn>(Actor);
		if (IsValid(Pawn) && Pawn->GetClass() && Pattern.FoundIn(Pawn->GetClass()->GetName())) return Pawn;
	}
	return nullptr;
}

void DoSessionWork(FPieSmokeSession& Session, UWorld& World, double T)
{
	FPieSmokeSpec& Spec = Session.Spec;
	FPieSmokeRuntime& R = Session.Runtime;
	if (!Session.TargetPawn.IsValid()) Session.TargetPawn = ResolveTargetPawn(World, Spec.PawnClass);
	++R.ReadyTicks;
	if (Spec.bCsvProfile || !Spec.TraceChannels.empty()) StartProfiling(Session);
	UpdateRuntimeIdentity(Session.Identity, Session.IdentityLookup, Spec.ExpectedAnimClass, Session.TargetPawn.Get());
	if (!Session.bActorSetupDone && !Spec.ActorSetup.empty())
	{
		Session.bActorSetupDone = true;
		RunActorSetup(Spec.ActorSetup, World);
	}
	const bool bFirstReadyTick = !Session.bFirstReadyTickDone;
	if (bFirstReadyTick)
	{
		Session.bFirstReadyTickDone = true;
		// Applied once: the dilation lives in the PIE world's settings and dies with it.
		if (std::abs(Spec.TimeDilation - 1.0) > 1e-8) UGameplayStatics::SetGlobalTimeDilation(&World, Spec.TimeDilation);
		ApplyViewTarget(Session, World);
		FireStage(Spec.Stages.OnBeginPlay, World, T);
	}
	if (R.ReadyTicks >= Spec.Stages.AfterNTicks.N) FireStage(Spec.Stages.AfterNTicks, World, T);
	for (FProbe& Probe : Spec.Probes)
	{
		if (Probe.bFired || Probe.AtSeconds > T) continue;
		Probe.bFired = true;
		Probe.FiredAt = T;
		Probe.Outcome = RunScripts(Probe.Script, &World);
	}
	for (FInputEvent& Event : Spec.InputEvents)
	{
		if (!Event.bFired && Event.AtSeconds <= T) FireInputEvent(Event, T);
	}
	// The pawn may have been replaced by what fired above; sampling reads whatever is live now.
	Sampling::FSamplingWorld SamplingWorld;
	SamplingWorld.World = &World;
	SamplingWorld.TargetPawn = Session.TargetPawn.Get();
	Session.Sampling.Tick(T, SamplingWorld);
	const size_t FramesBefore = Session.Clip.Frames.size();
	if (Session.Clip.bIsClip) CaptureFrameIfDue(Session, World, T);
	if (Session.Clip.Frames.size() > FramesBefore)
	{
		const FClipFrame& Frame = Session.Clip.Frames.back();
		const FJson ClipFields = FJson{{"frame_path", Frame.Path}, {"frame_valid", !Frame.bUniform}};
		Session.Sampling.AppendRow(T, R.FrameNow, &ClipFields);
	}
	else
	{
		Session.Sampling.AppendRow(T, R.FrameNow, nullptr);
	}
}
}
