// runtime_get_all_bb_values and get_move_status: what an AI in the running PIE world remembers and is doing.
// The actor may be the pawn or its controller.
#include "Ai/BlackboardValues.h"
#include "Catalogue/GameplayCatalogue.h"
#include "Common/GameplayWorlds.h"
#include "GameplayHandlers.h"

#include "AIController.h"
#include "BlackboardComponent.h"
#include "Printf.h"
#include "TarnwickDiagnostics.h"

#include <cmath>

namespace Tarnwick::Gameplay
{
namespace
{
/** The named actor and its controller (the actor itself when it is one). */
struct FAiTarget
{
	AActor* Actor = nullptr;
	AController* Controller = nullptr;
};

bool FindAi(const FJsonPtr& Params, FAiTarget& Out, FTarnwickActionResult& OutError)
{
	std::string Name;
	if (!Tarnwick::Diagnostics::RequireString(Params, "actor", Name, OutError)) return false;
	UWorld* World = RequirePieWorld(OutError);
	if (!World) return false;
	Out.Actor = RequireActor(World, "pie", Name, OutError);
	if (!Out.Actor) return false;
	if (auto* Controller = Cast<AController>(Out.Actor)) Out.Controller = Controller;
	else if (auto* Pawn = Cast<APawn>(Out.Actor)) Out.Controller = Pawn->GetController();
	if (!Out.Controller)
	{
		OutError = EditorFailure(Tarnwick::Printf("'%s' is %s, so it has no blackboard or path following", Out.Actor->GetActorLabel().c_str(),
			Cast<APawn>(Out.Actor) ? "a pawn without a controller" : "neither a pawn nor a controller"));
		return false;
	}
	return true;
}

FTarnwickActionResult GetAllBlackboardValues(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	FAiTarget Target;
	if (!FindAi(Params, Target, Error)) return Error;
	auto* AI = Cast<AAIController>(Target.Controller);
	UBlackboardComponent* Blackboard = AI ? AI->GetBlackboardComponent() : nullptr;
	if (!Blackboard)
	{
		return EditorFailure(Tarnwick::Printf("'%s' (controller %s) has no blackboard%s", Target.Actor->GetActorLabel().c_str(),
			Target.Controller->GetName().c_str(), AI ? "" : ": it is not an AI controller"));
	}
	FJson Result = FJson::object();
	Result["actor"] = Target.Actor->GetActorLabel();
	Result["controller"] = Target.Controller->GetName();
	Result["keys"] = DescribeBlackboard(*Blackboard);
	const UObject* Asset = Blackboard->GetBlackboardAsset();
	Result["blackboard_asset"] = Asset ? Asset->GetPathName() : std::string("None");
	return FTarnwickActionResult::Success(std::move(Result));
}

FTarnwickActionResult GetMoveStatus(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	FAiTarget Target;
	if (!FindAi(Params, Target, Error)) return Error;
	auto* AI = Cast<AAIController>(Target.Controller);
	const UPathFollowingComponent* Follow = AI ? AI->GetPathFollowingComponent() : nullptr;
	if (!Follow)
	{
		return EditorFailure(Tarnwick::Printf("'%s' (controller %s) has no path following: it is not an AI controller",
			Target.Actor->GetActorLabel().c_str(), Target.Controller->GetName().c_str()));
	}
	const EPathFollowingStatus::Type Status = Follow->GetStatus();
	FJson Path = FJson::array();
	for (const FVector& P : Follow->GetPathPoints()) Path.push_back(VectorJson(P));
	APawn* Pawn = Target.Controller->GetPawn();
	const FVector Velocity = Pawn ? Pawn->GetVelocity() : FVector();
	FJson Result = FJson::object();
	Result["actor"] = Target.Actor->GetActorLabel();
	Result["controller"] = Target.Controller->GetName();
	Result["status"] = LexToString(Status);
	Result["is_moving"] = Status == EPathFollowingStatus::Moving;
	Result["goal"] = VectorJson(Follow->GetCurrentTargetLocation());
	Result["path_points"] = std::move(Path);
	Result["next_path_index"] = Follow->GetNextPathIndex();
	Result["last_result"] = LexToString(Follow->GetLastMoveResult());
	Result["location"] = Pawn ? VectorJson(Pawn->GetActorLocation()) : FJson();
	Result["velocity"] = VectorJson(Velocity);
	Result["speed"] = std::hypot(Velocity.X, Velocity.Y);
	return FTarnwickActionResult::Success(std::move(Result));
}
}

void AddAiRuntimeHandlers(FGameplayHandlerTable& Table)
{
	Table[{AiNamespace, "runtime_get_all_bb_values"}] = GetAllBlackboardValues;
	Table[{AiNamespace, "get_move_status"}] = GetMoveStatus;
}
}
