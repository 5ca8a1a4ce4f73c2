// Possession, default controllers, the player controller's console and input, and AI move requests.
#include "BlackboardComponent.h"
#include "Engine.h"
#include "Logging.h"
#include "NavigationSystem.h"
#include "Printf.h"
#include "SimPathFollowing.h"

#include <cctype>
#include <cmath>

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogConsoleResponse("LogConsoleResponse");
FLogCategory LogAINavigation("LogAINavigation");

void SetObjectValue(UObject* Object, std::string_view Property, UObject* Value)
{
	FSimObjectState& State = AsSim(Object)->GetSimState();
	const int32 Index = State.Class->IndexOfName(Property);
	if (Index >= 0) State.Values[static_cast<size_t>(Index)].ObjectValue = FWeakObjectPtr(Value);
}

/** Keeps every line a command prints, so that it can be returned and, when asked, also written to the log. */
class FConsoleLines final : public FOutputDevice
{
public:
	struct FLine
	{
		std::string Category;
		ELogVerbosity::Type Verbosity;
		std::string Message;
	};
	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double) override
	{
		Lines.push_back(FLine{std::string(Category), Verbosity, std::string(Message)});
	}
	std::vector<FLine> Lines;
};

double Distance2D(const FVector& A, const FVector& B)
{
	return std::sqrt((A.X - B.X) * (A.X - B.X) + (A.Y - B.Y) * (A.Y - B.Y));
}
}

FRotator SimGetControlRotation(const UObject* Controller)
{
	const FSimObjectState* State = GetSimState(Controller);
	const int32 Index = State ? State->Class->IndexOfName("ControlRotation") : -1;
	return Index < 0 ? FRotator() : State->Values[static_cast<size_t>(Index)].RotatorValue;
}

void SimSetControlRotation(UObject* Controller, const FRotator& Rotation)
{
	FSimObjectState& State = AsSim(Controller)->GetSimState();
	const int32 Index = State.Class->IndexOfName("ControlRotation");
	if (Index >= 0) State.Values[static_cast<size_t>(Index)].RotatorValue = Rotation;
}

void SimUnPossess(AController* Controller)
{
	if (!Controller) return;
	if (APawn* Pawn = Controller->GetPawn())
	{
		if (Pawn->GetController() == Controller) SetObjectValue(Pawn, "Controller", nullptr);
	}
	SetObjectValue(Controller, "Pawn", nullptr);
}

void SimPossess(AController* Controller, APawn* Pawn)
{
	if (!Controller || !Pawn) return;
	if (Controller->GetPawn() == Pawn && Pawn->GetController() == Controller) return;
	SimUnPossess(Controller);
	if (AController* Previous = Pawn->GetController()) SimUnPossess(Previous);
	SetObjectValue(Controller, "Pawn", Pawn);
	SetObjectValue(Pawn, "Controller", Controller);
	Controller->SetControlRotation(Pawn->GetActorRotation());
}

bool SimGetCapsule(const AActor* Actor, double& OutRadius, double& OutHalfHeight)
{
	const FSimActorState* State = Actor ? GetActorState(const_cast<AActor*>(Actor)) : nullptr;
	if (!State || !State->Capsule || !State->World) return false;
	const FSimObjectRegistry::FNativeIndices& I = State->World->Registry->Indices;
	OutRadius = State->Capsule->Values[static_cast<size_t>(I.CapsuleRadius)].DoubleValue;
	OutHalfHeight = State->Capsule->Values[static_cast<size_t>(I.CapsuleHalfHeight)].DoubleValue;
	return true;
}

// --- Pawns ---

void FSimPawn::SpawnDefaultController()
{
	if (GetController() || IsPendingKill()) return;
	auto* World = dynamic_cast<FSimWorld*>(GetWorld());
	auto* ControllerClass = dynamic_cast<FSimClass*>(SimGetObjectProperty(this, "AIControllerClass"));
	if (!World || !ControllerClass) return;
	FActorSpawnParameters Params;
	Params.Location = GetActorLocation();
	Params.Rotation = GetActorRotation();
	std::string Error;
	auto* Controller = Cast<AController>(World->SpawnActor(ControllerClass, Params, &Error));
	if (Controller) SimPossess(Controller, this);
}

// --- Player controllers ---

std::string FSimPlayerController::ConsoleCommand(const std::string& Command, bool bWriteToLog)
{
	std::string Cmd = Command;
	while (!Cmd.empty() && std::isspace(static_cast<unsigned char>(Cmd.back()))) Cmd.pop_back();
	while (!Cmd.empty() && std::isspace(static_cast<unsigned char>(Cmd.front()))) Cmd.erase(Cmd.begin());
	if (Cmd.empty()) return std::string();
	FConsoleLines Out;
	const bool bHandled = GEngine && GEngine->Exec(GetWorld(), Cmd, Out);
	if (!bHandled) Out.Log(LogConsoleResponse.GetName(), ELogVerbosity::Display, Tarnwick::Printf("Command not recognized: %s", Cmd.c_str()));
	std::string Text;
	for (const FConsoleLines::FLine& Line : Out.Lines)
	{
		if (!Text.empty()) Text.push_back('\n');
		Text += Line.Message;
		if (bWriteToLog) GLog->Serialize(Line.Message, Line.Verbosity, Line.Category);
	}
	return Text;
}

bool FSimPlayerController::InputKey(const FInputKeyParams& Params)
{
	return Input.InputKey(Params);
}

// --- AI controllers ---

FSimPathFollowingComponent* FSimAIController::GetSimPathFollowing() const
{
	for (UActorComponent* C : Actor.Components)
	{
		if (auto* P = dynamic_cast<FSimPathFollowingComponent*>(C)) return P;
	}
	return nullptr;
}

UPathFollowingComponent* FSimAIController::GetPathFollowingComponent() const
{
	return GetSimPathFollowing();
}

UBlackboardComponent* FSimAIController::GetBlackboardComponent() const
{
	for (UActorComponent* C : Actor.Components)
	{
		if (auto* B = dynamic_cast<UBlackboardComponent*>(C)) return B;
	}
	return nullptr;
}

EPathFollowingStatus::Type FSimAIController::GetMoveStatus() const
{
	const FSimPathFollowingComponent* P = GetSimPathFollowing();
	return P ? P->Status : EPathFollowingStatus::Idle;
}

void FSimAIController::StopMovement()
{
	if (FSimPathFollowingComponent* P = GetSimPathFollowing())
	{
		if (P->Status != EPathFollowingStatus::Idle) P->FinishMove(EPathFollowingResult::Aborted);
	}
}

EPathFollowingRequestResult::Type FSimAIController::MoveToLocation(const FVector& Dest, float AcceptanceRadius, bool bStopOnOverlap,
	bool bUsePathfinding, bool bProjectDestinationToNavigation, bool, UClass*, bool bAllowPartialPath)
{
	FSimPathFollowingComponent* Follow = GetSimPathFollowing();
	APawn* Pawn = GetPawn();
	if (!Follow || !Pawn || !std::isfinite(Dest.X) || !std::isfinite(Dest.Y) || !std::isfinite(Dest.Z))
	{
		TW_LOG(LogAINavigation, Log, "%s: MoveTo failed: %s", GetName().c_str(), !Pawn ? "no pawn" : "invalid request");
		return EPathFollowingRequestResult::Failed;
	}
	// A new request replaces the one in progress.
	if (Follow->Status != EPathFollowingStatus::Idle) Follow->FinishMove(EPathFollowingResult::Aborted);
	double Radius = 0.0, HalfHeight = 0.0;
	SimGetCapsule(Pawn, Radius, HalfHeight);
	FVector Goal = Dest;
	const UNavigationSystemV1* Nav = UNavigationSystemV1::GetCurrent(GetWorld());
	const bool bNavBuilt = Nav && Nav->IsNavigationBuilt();
	if (bProjectDestinationToNavigation && bNavBuilt)
	{
		FVector Projected;
		if (!Nav->ProjectPointToNavigation(Dest, Projected, Nav->GetDefaultQueryExtent())) return EPathFollowingRequestResult::Failed;
		Goal = Projected;
	}
	Follow->Goal = Goal;
	Follow->GoalActor.Reset();
	Follow->AcceptanceRadius = (AcceptanceRadius < 0.0f ? PathFollowingDefaultAcceptanceRadius : AcceptanceRadius) + (bStopOnOverlap ? Radius : 0.0);
	Follow->bUsePathfinding = bUsePathfinding;
	Follow->bAllowPartialPath = bAllowPartialPath;
	++Follow->RequestCount;
	const FVector Here = Pawn->GetActorLocation();
	if (Distance2D(Here, Goal) <= Follow->AcceptanceRadius && std::fabs(Here.Z - Goal.Z) <= HalfHeight + 50.0)
	{
		Follow->LastResult = EPathFollowingResult::Success;
		return EPathFollowingRequestResult::AlreadyAtGoal;
	}
	Follow->Path.clear();
	Follow->NextIndex = 0;
	if (!bUsePathfinding)
	{
		Follow->Path = {Here, Goal};
		Follow->NextIndex = 1;
	}
	else if (bNavBuilt)
	{
		const FNavigationPath Path = Nav->FindPathToLocationSynchronously(Here, Goal, bAllowPartialPath);
		if (!Path.IsValid())
		{
			TW_LOG(LogAINavigation, Log, "%s: MoveTo failed: no path from (%.1f, %.1f, %.1f) to (%.1f, %.1f, %.1f)", GetName().c_str(), Here.X,
				Here.Y, Here.Z, Goal.X, Goal.Y, Goal.Z);
			return EPathFollowingRequestResult::Failed;
		}
		Follow->Path = Path.PathPoints;
		Follow->NextIndex = 1;
	}
	// Without built navigation the request is accepted and waits for a path: the move is in progress, the pawn
	// stands still (the world's tick looks for a path again once navigation is built).
	Follow->Status = EPathFollowingStatus::Moving;
	return EPathFollowingRequestResult::RequestSuccessful;
}

EPathFollowingRequestResult::Type FSimAIController::MoveToActor(AActor* Goal, float AcceptanceRadius, bool bStopOnOverlap, bool bUsePathfinding,
	bool bCanStrafe, UClass* FilterClass, bool bAllowPartialPath)
{
	if (!IsValid(Goal)) return EPathFollowingRequestResult::Failed;
	const EPathFollowingRequestResult::Type Result =
		MoveToLocation(Goal->GetActorLocation(), AcceptanceRadius, bStopOnOverlap, bUsePathfinding, false, bCanStrafe, FilterClass, bAllowPartialPath);
	if (Result == EPathFollowingRequestResult::RequestSuccessful)
	{
		if (FSimPathFollowingComponent* Follow = GetSimPathFollowing()) Follow->GoalActor = FWeakObjectPtr(Goal);
	}
	return Result;
}

void FSimPathFollowingComponent::FinishMove(EPathFollowingResult::Type Result)
{
	Status = EPathFollowingStatus::Idle;
	LastResult = Result;
	Path.clear();
	NextIndex = 0;
	GoalActor.Reset();
}
}
