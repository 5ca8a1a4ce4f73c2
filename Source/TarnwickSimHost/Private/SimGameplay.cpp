#include "SimGameplay.h"

#include "NavigationSystem.h"
#include "SimAbilitySystem.h"
#include "SimPathFollowing.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Tarnwick::Sim
{
namespace
{
double DegToRad(double D) { return D * std::numbers::pi / 180.0; }

double Distance2D(const FVector& A, const FVector& B) { return std::hypot(A.X - B.X, A.Y - B.Y); }

FSimObjectState* ComponentState(UObject* Object, const char* BoundProperty)
{
	UObject* Component = SimGetObjectProperty(Object, BoundProperty);
	return Component ? &AsSim(Component)->GetSimState() : nullptr;
}

const FPropertyValue* Value(const FSimObjectState& State, std::string_view Name)
{
	const int32 Index = State.Class->IndexOfName(Name);
	return Index < 0 ? nullptr : &State.Values[static_cast<size_t>(Index)];
}
}

FSimWorldGameplay::FSimWorldGameplay(FSimWorld& InWorld, const FSimInputSettings& InInput) : World(InWorld), Input(InInput)
{
	// Native properties come first in every subclass, so the movement component's indices hold for all of them.
	const FSimClass* C = World.Registry->CharacterMovementClass;
	Move = FMovementIndices{C->IndexOfName("Velocity"), C->IndexOfName("MovementMode"), C->IndexOfName("MaxWalkSpeed"),
		C->IndexOfName("MaxAcceleration"), C->IndexOfName("BrakingDecelerationWalking"), C->IndexOfName("JumpZVelocity"),
		C->IndexOfName("GravityScale"), C->IndexOfName("bOrientRotationToMovement"), C->IndexOfName("RotationRate"),
		C->IndexOfName("GroundFriction"), C->IndexOfName("BrakingFrictionFactor"), C->IndexOfName("AirControl"),
		C->IndexOfName("MaxStepHeight"), C->IndexOfName("Acceleration")};
	const FSimClass* Pawn = World.Registry->FindClass("/Script/Engine.Pawn");
	PawnControllerIndex = Pawn->IndexOfName("Controller");
	UseControllerYawIndex = Pawn->IndexOfName("bUseControllerRotationYaw");
	JumpMaxCountIndex = World.Registry->FindClass("/Script/Engine.Character")->IndexOfName("JumpMaxCount");
	KillZIndex = World.Registry->WorldSettingsClass->IndexOfName("KillZ");
	CharacterClass = World.Registry->FindClass("/Script/Engine.Character");
}

bool FSimWorldGameplay::WantsAIController(const AActor* Actor, bool bPlacedInWorld) const
{
	const auto* Pawn = dynamic_cast<const FSimPawn*>(Actor);
	if (!Pawn || Pawn->GetController()) return false;
	const FSimObjectState& State = Pawn->State;
	const FPropertyValue* Player = Value(State, "AutoPossessPlayer");
	if (Player && Player->IntValue != 0) return false;
	const FPropertyValue* AI = Value(State, "AutoPossessAI");
	const int64 Rule = AI ? AI->IntValue : 0; // Disabled, PlacedInWorld, Spawned, PlacedInWorldOrSpawned
	return Rule == 3 || (Rule == 1 && bPlacedInWorld) || (Rule == 2 && !bPlacedInWorld);
}

void FSimWorldGameplay::InitializeActorsForPlay()
{
	for (AActor* Actor : World.GetActors())
	{
		if (WantsAIController(Actor, true)) Cast<APawn>(Actor)->SpawnDefaultController();
	}
}

void FSimWorldGameplay::BeginPlay()
{
	// Blackboards first, so that a pawn's BeginPlay may write to its controller's even when the controller was
	// spawned after it.
	const std::vector<AActor*> Actors = World.GetActors();
	for (AActor* Actor : Actors) PrepareForPlay(Actor);
	for (AActor* Actor : Actors)
	{
		if (!Actor->IsPendingKill()) RunBeginPlayEvents(Actor);
	}
}

void FSimWorldGameplay::OnActorSpawned(AActor* Actor)
{
	if (WantsAIController(Actor, false)) Cast<APawn>(Actor)->SpawnDefaultController();
	// An actor spawned into a playing world begins play at once (one spawned while players log in begins with
	// the world).
	if (World.bBegunPlay)
	{
		PrepareForPlay(Actor);
		RunBeginPlayEvents(Actor);
	}
}

bool FSimWorldGameplay::ReadMovement(AActor* Pawn, FSimMovementParams& P, FSimMovementState& S) const
{
	FSimActorState* Actor = GetActorState(Pawn);
	if (!Actor || !Actor->MovementValues) return false;
	const std::vector<FPropertyValue>& V = Actor->MovementValues->Values;
	P.MaxWalkSpeed = V[static_cast<size_t>(Move.MaxWalkSpeed)].DoubleValue;
	P.MaxAcceleration = V[static_cast<size_t>(Move.MaxAcceleration)].DoubleValue;
	P.BrakingDecelerationWalking = V[static_cast<size_t>(Move.BrakingDecelerationWalking)].DoubleValue;
	P.JumpZVelocity = V[static_cast<size_t>(Move.JumpZVelocity)].DoubleValue;
	P.GravityScale = V[static_cast<size_t>(Move.GravityScale)].DoubleValue;
	P.bOrientRotationToMovement = V[static_cast<size_t>(Move.bOrientRotationToMovement)].bValue;
	P.RotationRateYaw = V[static_cast<size_t>(Move.RotationRate)].RotatorValue.Yaw;
	P.GroundFriction = V[static_cast<size_t>(Move.GroundFriction)].DoubleValue;
	P.BrakingFrictionFactor = V[static_cast<size_t>(Move.BrakingFrictionFactor)].DoubleValue;
	P.AirControl = V[static_cast<size_t>(Move.AirControl)].DoubleValue;
	P.MaxStepHeight = V[static_cast<size_t>(Move.MaxStepHeight)].DoubleValue;
	if (!SimGetCapsule(Pawn, P.CapsuleRadius, P.CapsuleHalfHeight))
	{
		P.CapsuleRadius = 0.0;
		P.CapsuleHalfHeight = 0.0;
	}
	S.Location = Actor->Location;
	S.Rotation = Actor->Rotation;
	S.Velocity = V[static_cast<size_t>(Move.Velocity)].VectorValue;
	S.Acceleration = V[static_cast<size_t>(Move.Acceleration)].VectorValue;
	S.Mode = V[static_cast<size_t>(Move.MovementMode)].IntValue == 3 ? ESimMovementMode::Falling : ESimMovementMode::Walking;
	S.JumpCurrentCount = Actor->JumpCurrentCount;
	return true;
}

void FSimWorldGameplay::WriteMovement(AActor* Pawn, const FSimMovementState& S)
{
	FSimActorState* Actor = GetActorState(Pawn);
	std::vector<FPropertyValue>& V = Actor->MovementValues->Values;
	Actor->Location = S.Location;
	Actor->Rotation = S.Rotation;
	Actor->JumpCurrentCount = S.JumpCurrentCount;
	V[static_cast<size_t>(Move.Velocity)].VectorValue = S.Velocity;
	V[static_cast<size_t>(Move.Acceleration)].VectorValue = S.Acceleration;
	FPropertyValue& Mode = V[static_cast<size_t>(Move.MovementMode)];
	const bool bFalling = S.Mode == ESimMovementMode::Falling;
	Mode.IntValue = bFalling ? 3 : 1;
	Mode.StringValue = bFalling ? "MOVE_Falling" : "MOVE_Walking";
}

void FSimWorldGameplay::ProcessPlayerInput(FSimPlayerController& PC)
{
	const FSimInputFrame Frame = PC.Input.ConsumeFrame(Input);
	FRotator Control = PC.GetControlRotation();
	const double Turn = Frame.GetAxis("Turn");
	const double LookUp = Frame.GetAxis("LookUp");
	if (Turn != 0.0 || LookUp != 0.0)
	{
		Control.Yaw = NormalizeAxis(Control.Yaw + Turn * SimInputYawScale);
		Control.Pitch = std::clamp(Control.Pitch + LookUp * SimInputPitchScale, -89.9, 89.9);
		PC.SetControlRotation(Control);
	}
	APawn* Pawn = PC.GetPawn();
	FSimActorState* Actor = Pawn ? GetActorState(Pawn) : nullptr;
	if (!Actor) return;
	// The third-person template's bindings: movement relative to the controller's yaw, and Jump / StopJumping.
	const double Forward = Frame.GetAxis("MoveForward");
	const double Right = Frame.GetAxis("MoveRight");
	const double Yaw = DegToRad(Control.Yaw);
	Actor->PendingMovementInput.X += std::cos(Yaw) * Forward - std::sin(Yaw) * Right;
	Actor->PendingMovementInput.Y += std::sin(Yaw) * Forward + std::cos(Yaw) * Right;
	for (const auto& [Action, Event] : Frame.Actions)
	{
		if (Action != "Jump") continue;
		Actor->bPressedJump = Event == IE_Pressed;
	}
}

void FSimWorldGameplay::FollowPath(FSimAIController& AI)
{
	FSimPathFollowingComponent* Follow = AI.GetSimPathFollowing();
	if (!Follow || Follow->Status != EPathFollowingStatus::Moving) return;
	APawn* Pawn = AI.GetPawn();
	if (!IsValid(Pawn))
	{
		Follow->FinishMove(EPathFollowingResult::Aborted);
		return;
	}
	const FVector Here = Pawn->GetActorLocation();
	if (UObject* GoalActor = Follow->GoalActor.Get())
	{
		// MoveToActor follows its goal: a goal that walked away from the path's end is chased along a new path.
		const FVector GoalNow = Cast<AActor>(GoalActor)->GetActorLocation();
		if (Distance2D(GoalNow, Follow->Goal) > 50.0)
		{
			Follow->Goal = GoalNow;
			Follow->Path.clear();
		}
	}
	if (Follow->Path.empty())
	{
		if (!Follow->bUsePathfinding)
		{
			Follow->Path = {Here, Follow->Goal};
			Follow->NextIndex = 1;
		}
		else
		{
			const UNavigationSystemV1* Nav = World.GetNavigationSystem();
			if (!Nav || !Nav->IsNavigationBuilt()) return; // still waiting for navigation: the pawn stands
			const FNavigationPath Path = Nav->FindPathToLocationSynchronously(Here, Follow->Goal, Follow->bAllowPartialPath);
			if (!Path.IsValid())
			{
				Follow->FinishMove(EPathFollowingResult::Blocked);
				return;
			}
			Follow->Path = Path.PathPoints;
			Follow->NextIndex = 1;
		}
	}
	const int32 Last = static_cast<int32>(Follow->Path.size()) - 1;
	// Pass waypoints the pawn has reached or gone beyond (projected on their segment).
	while (Follow->NextIndex < Last)
	{
		const FVector& A = Follow->Path[static_cast<size_t>(Follow->NextIndex - 1)];
		const FVector& B = Follow->Path[static_cast<size_t>(Follow->NextIndex)];
		const double SX = B.X - A.X, SY = B.Y - A.Y;
		const double Len2 = SX * SX + SY * SY;
		const double T = Len2 > 0.0 ? ((Here.X - A.X) * SX + (Here.Y - A.Y) * SY) / Len2 : 1.0;
		if (Distance2D(Here, B) > 10.0 && T < 1.0) break;
		++Follow->NextIndex;
	}
	const FVector& Target = Follow->Path[static_cast<size_t>(std::min(Follow->NextIndex, Last))];
	const double DX = Target.X - Here.X, DY = Target.Y - Here.Y;
	const double D = std::hypot(DX, DY);
	if (D < 1e-3) return;
	FSimActorState* Actor = GetActorState(Pawn);
	Actor->PendingMovementInput.X += DX / D;
	Actor->PendingMovementInput.Y += DY / D;
}

void FSimWorldGameplay::CheckArrival(FSimAIController& AI)
{
	FSimPathFollowingComponent* Follow = AI.GetSimPathFollowing();
	APawn* Pawn = AI.GetPawn();
	if (!Pawn) return;
	AI.SetControlRotation(Pawn->GetActorRotation());
	if (!Follow || Follow->Status != EPathFollowingStatus::Moving || Follow->Path.empty()) return;
	double Radius = 0.0, HalfHeight = 0.0;
	SimGetCapsule(Pawn, Radius, HalfHeight);
	const FVector Here = Pawn->GetActorLocation();
	if (Distance2D(Here, Follow->Goal) <= Follow->AcceptanceRadius && std::fabs(Here.Z - Follow->Goal.Z) <= HalfHeight + 50.0)
	{
		Follow->FinishMove(EPathFollowingResult::Success);
	}
}

const FSimWorldGameplay::FAnimIndices& FSimWorldGameplay::GetAnimIndices(const FSimClass* AnimClass)
{
	auto It = AnimIndexCache.find(AnimClass);
	if (It != AnimIndexCache.end()) return It->second;
	FAnimIndices I;
	auto Find = [&](std::initializer_list<const char*> Names, EPropertyType Type) {
		for (const char* N : Names)
		{
			const int32 Index = AnimClass->IndexOfName(N);
			if (Index >= 0 && AnimClass->GetProperties()[static_cast<size_t>(Index)]->Type == Type) return Index;
		}
		return -1;
	};
	I.GroundSpeed = Find({"GroundSpeed"}, EPropertyType::Float);
	I.ShouldMove = Find({"bShouldMove", "ShouldMove"}, EPropertyType::Bool);
	I.DesiredYawDelta = Find({"DesiredYawDelta"}, EPropertyType::Float);
	I.IsFalling = Find({"bIsFalling", "IsFalling"}, EPropertyType::Bool);
	I.Velocity = Find({"Velocity"}, EPropertyType::Vector);
	return AnimIndexCache.emplace(AnimClass, I).first->second;
}

void FSimWorldGameplay::UpdateAnimInstance(AActor* Pawn)
{
	FSimObjectState* Mesh = ComponentState(Pawn, "Mesh");
	FSimActorState* Actor = GetActorState(Pawn);
	if (!Mesh || !Actor || !Actor->MovementValues) return;
	const FPropertyValue* Instance = Value(*Mesh, "AnimScriptInstance");
	UObject* Anim = Instance ? Instance->ObjectValue.Get() : nullptr;
	if (!Anim) return;
	FSimObjectState& A = AsSim(Anim)->GetSimState();
	const FAnimIndices& I = GetAnimIndices(A.Class);
	const std::vector<FPropertyValue>& M = Actor->MovementValues->Values;
	const FVector Velocity = M[static_cast<size_t>(Move.Velocity)].VectorValue;
	const FVector Accel = M[static_cast<size_t>(Move.Acceleration)].VectorValue;
	const double GroundSpeed = std::hypot(Velocity.X, Velocity.Y);
	if (I.GroundSpeed >= 0) A.Values[static_cast<size_t>(I.GroundSpeed)].DoubleValue = static_cast<float>(GroundSpeed);
	// The third-person Animation Blueprint: moving faster than 3 cm/s while accelerating.
	if (I.ShouldMove >= 0)
	{
		A.Values[static_cast<size_t>(I.ShouldMove)].bValue = GroundSpeed > 3.0 && (Accel.X != 0.0 || Accel.Y != 0.0 || Accel.Z != 0.0);
	}
	if (I.DesiredYawDelta >= 0)
	{
		const auto* Pawn2 = Cast<APawn>(Pawn);
		const AController* Controller = Pawn2 ? Pawn2->GetController() : nullptr;
		const double Delta = Controller ? NormalizeAxis(Controller->GetControlRotation().Yaw - Actor->Rotation.Yaw) : 0.0;
		A.Values[static_cast<size_t>(I.DesiredYawDelta)].DoubleValue = static_cast<float>(Delta);
	}
	if (I.IsFalling >= 0) A.Values[static_cast<size_t>(I.IsFalling)].bValue = M[static_cast<size_t>(Move.MovementMode)].IntValue == 3;
	if (I.Velocity >= 0) A.Values[static_cast<size_t>(I.Velocity)].VectorValue = Velocity;
}

void FSimWorldGameplay::Tick(double DeltaSeconds)
{
	// Nothing plays while the game is paused; input given meanwhile waits for the next frame that plays (so a
	// key pressed between two of the editor's single steps is seen by the step).
	if (DeltaSeconds <= 0.0) return;
	// The list is copied: actors may be spawned or destroyed while it is walked (destroyed ones stay in memory
	// until the frame ends, pending kill).
	const std::vector<FSimActorState*> Actors = World.ActorStates;
	auto Alive = [](const FSimActorState* S) { return !S->Values->bPendingKill; };
	for (FSimActorState* S : Actors)
	{
		if (S->bIsPlayerController && Alive(S)) ProcessPlayerInput(*static_cast<FSimPlayerController*>(S->Self));
	}
	Boxes = GatherWorldBoxes(&World);
	for (FSimActorState* S : Actors)
	{
		if (S->bIsAIController && Alive(S)) FollowPath(*static_cast<FSimAIController*>(S->Self));
	}
	const double KillZ = AsSim(World.WorldSettings)->GetSimState().Values[static_cast<size_t>(KillZIndex)].DoubleValue;
	for (FSimActorState* Actor : Actors)
	{
		if (!Alive(Actor) || !Actor->MovementValues) continue;
		AActor* A = Actor->Self;
		FSimMovementParams Params;
		FSimMovementState State;
		ReadMovement(A, Params, State);
		FSimMovementInput In;
		In.InputVector = Actor->PendingMovementInput;
		In.bJump = Actor->bPressedJump;
		const std::vector<FPropertyValue>& V = Actor->Values->Values;
		In.JumpMaxCount = Actor->Values->Class->IsChildOf(CharacterClass)
			? static_cast<int32>(V[static_cast<size_t>(JumpMaxCountIndex)].IntValue)
			: 1;
		const AController* Controller = Actor->bIsPawn ? Cast<AController>(V[static_cast<size_t>(PawnControllerIndex)].ObjectValue.Get()) : nullptr;
		In.bUseControllerYaw = Controller && Actor->bIsPawn && V[static_cast<size_t>(UseControllerYawIndex)].bValue;
		In.ControllerYaw = Controller ? Controller->GetControlRotation().Yaw : 0.0;
		const FSimMovementResult Result = StepCharacterMovement(Params, State, In, Boxes, DeltaSeconds);
		// A performed jump is consumed (the engine's jump hold time of 0); the key must be pressed again.
		if (Result.bJumped) Actor->bPressedJump = false;
		Actor->PendingMovementInput = FVector();
		WriteMovement(A, State);
		UpdateAnimInstance(A);
		if (State.Location.Z < KillZ)
		{
			// The engine's FellOutOfWorld: the pawn is destroyed and its controller keeps no pawn.
			if (Controller) SimUnPossess(const_cast<AController*>(Controller));
			World.DestroyActor(A);
		}
	}
	for (FSimActorState* S : Actors)
	{
		if (S->bIsAIController && Alive(S)) CheckArrival(*static_cast<FSimAIController*>(S->Self));
	}
	for (FSimActorState* S : Actors)
	{
		if (S->AbilitySystem && Alive(S)) S->AbilitySystem->TickEffects(World.TimeSeconds);
	}
	RunTimedEvents(Actors);
}
}
