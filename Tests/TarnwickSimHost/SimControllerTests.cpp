// Controllers of the simulated game: possession, default AI controllers, input arriving through the PIE
// viewport, AI move requests without navigation, and sleeping on the virtual clock.
#include "SimPathFollowing.h"
#include "SimTestUtils.h"

#include "GameViewport.h"
#include "PlatformTime.h"

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

namespace
{
UWorld* StartArenaPie(FSimHost& Host)
{
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	EXPECT_TRUE(Host.StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 10));
	return GEditor->GetPlayWorld();
}

APawn* SpawnPawn(UWorld* World, const std::string& ClassPath, const FVector& Location)
{
	std::string Error;
	UClass* Class = Tarnwick::Host::GetObjectSystem()->LoadClass(ClassPath, &Error);
	EXPECT_TRUE(Class) << Error;
	FActorSpawnParameters Params;
	Params.Location = Location;
	auto* Pawn = Cast<APawn>(World->SpawnActor(Class, Params, &Error));
	EXPECT_TRUE(Pawn) << Error;
	return Pawn;
}
}

TEST(SimControllers, TheGameModeSpawnsThePlayerPawnPossessedByThePlayerController)
{
	auto Host = MakeArenaHost();
	UWorld* World = StartArenaPie(*Host);
	APlayerController* PC = World->GetFirstPlayerController();
	ASSERT_TRUE(PC && PC->GetPawn());
	EXPECT_EQ(PC->GetPawn()->GetController(), PC);
	EXPECT_EQ(PC->GetControlRotation(), PC->GetPawn()->GetActorRotation());
}

TEST(SimControllers, SpawnDefaultControllerPossessesWithTheAIControllerClassOnce)
{
	auto Host = MakeArenaHost();
	UWorld* World = StartArenaPie(*Host);
	APawn* Pawn = SpawnPawn(World, "/Script/Engine.Pawn", FVector(100, 0, 100));
	ASSERT_TRUE(Pawn);
	Pawn->SpawnDefaultController();
	auto* AI = Cast<AAIController>(Pawn->GetController());
	ASSERT_TRUE(AI);
	EXPECT_EQ(AI->GetPawn(), Pawn);
	EXPECT_EQ(AI->GetClass()->GetPathName(), "/Script/AIModule.AIController");
	EXPECT_TRUE(AI->GetPathFollowingComponent());
	EXPECT_EQ(AI->GetBlackboardComponent(), nullptr);
	const size_t Actors = World->GetActors().size();
	Pawn->SpawnDefaultController();
	EXPECT_EQ(Pawn->GetController(), AI);
	EXPECT_EQ(World->GetActors().size(), Actors);
}

TEST(SimControllers, PossessingTakesThePawnFromItsPreviousController)
{
	auto Host = MakeArenaHost();
	UWorld* World = StartArenaPie(*Host);
	APawn* Pawn = SpawnPawn(World, "/Script/Engine.Pawn", FVector(100, 0, 100));
	Pawn->SpawnDefaultController();
	AController* AI = Pawn->GetController();
	APlayerController* PC = World->GetFirstPlayerController();
	APawn* Hero = PC->GetPawn();
	SimPossess(PC, Pawn);
	EXPECT_EQ(Pawn->GetController(), PC);
	EXPECT_EQ(AI->GetPawn(), nullptr);
	EXPECT_EQ(Hero->GetController(), nullptr);
}

TEST(SimControllers, WithoutNavigationAMoveIsAcceptedButThePawnStandsStill)
{
	FSimHostOptions Options;
	Options.StartupMap = "/Game/Maps/Arena_NoNav";
	auto Host = MakeArenaHost(Options);
	UWorld* World = StartArenaPie(*Host);
	APawn* Pawn = SpawnPawn(World, "/Game/Blueprints/BP_Hero.BP_Hero_C", FVector(0, 0, 92));
	Pawn->SpawnDefaultController();
	auto* AI = Cast<AAIController>(Pawn->GetController());
	ASSERT_TRUE(AI);
	Host->StepFrames(2); // settles onto the floor
	const FVector Start = Pawn->GetActorLocation();
	EXPECT_EQ(Start, FVector(0, 0, 88));
	EXPECT_EQ(AI->MoveToLocation(FVector(600, 0, 92)), EPathFollowingRequestResult::RequestSuccessful);
	EXPECT_EQ(AI->GetMoveStatus(), EPathFollowingStatus::Moving);
	Host->StepFrames(30);
	EXPECT_EQ(Pawn->GetActorLocation(), Start);
	EXPECT_EQ(Pawn->GetVelocity(), FVector());
	EXPECT_EQ(AI->GetMoveStatus(), EPathFollowingStatus::Moving);
	EXPECT_TRUE(AI->GetPathFollowingComponent()->GetPathPoints().empty());
	AI->StopMovement();
	EXPECT_EQ(AI->GetMoveStatus(), EPathFollowingStatus::Idle);
	EXPECT_EQ(AI->GetPathFollowingComponent()->GetLastMoveResult(), EPathFollowingResult::Aborted);
}

TEST(SimControllers, AMoveToWhereThePawnStandsIsAlreadyAtGoal)
{
	auto Host = MakeArenaHost();
	UWorld* World = StartArenaPie(*Host);
	APawn* Pawn = SpawnPawn(World, "/Game/Blueprints/BP_Hero.BP_Hero_C", FVector(0, 0, 92));
	Pawn->SpawnDefaultController();
	auto* AI = Cast<AAIController>(Pawn->GetController());
	// The default acceptance is 5 cm plus the capsule's 34 cm radius.
	EXPECT_EQ(AI->MoveToLocation(FVector(38, 0, 0)), EPathFollowingRequestResult::AlreadyAtGoal);
	EXPECT_EQ(AI->GetMoveStatus(), EPathFollowingStatus::Idle);
	EXPECT_EQ(AI->MoveToLocation(FVector(38, 0, 0), -1.0f, false), EPathFollowingRequestResult::RequestSuccessful);
	EXPECT_EQ(AI->MoveToLocation(FVector(10, 0, 92), 20.0f, false), EPathFollowingRequestResult::AlreadyAtGoal);
}

TEST(SimControllers, AControllerWithoutAPawnFailsAMove)
{
	auto Host = MakeArenaHost();
	UWorld* World = StartArenaPie(*Host);
	std::string Error;
	UClass* Class = Tarnwick::Host::GetObjectSystem()->LoadClass("/Script/AIModule.AIController", &Error);
	auto* AI = Cast<AAIController>(World->SpawnActor(Class, FActorSpawnParameters(), &Error));
	ASSERT_TRUE(AI);
	EXPECT_EQ(AI->MoveToLocation(FVector(100, 0, 0)), EPathFollowingRequestResult::Failed);
	EXPECT_EQ(AI->MoveToActor(nullptr), EPathFollowingRequestResult::Failed);
}

TEST(SimControllers, ViewportInputReachesTheFirstPlayerController)
{
	auto Host = MakeArenaHost();
	UWorld* World = StartArenaPie(*Host);
	UGameViewportClient* Viewport = World->GetGameViewport();
	ASSERT_TRUE(Viewport);
	EXPECT_EQ(GEditor->GetEditorWorld()->GetGameViewport(), nullptr);
	APlayerController* PC = World->GetFirstPlayerController();
	EXPECT_TRUE(Viewport->InputKey(FInputKeyParams{FKey("W"), IE_Pressed}));
	EXPECT_TRUE(PC->IsInputKeyDown(FKey("W")));
	EXPECT_TRUE(Viewport->InputKey(FInputKeyParams{FKey("W"), IE_Released}));
	EXPECT_FALSE(PC->IsInputKeyDown(FKey("W")));
	// Axes are moved, not pressed.
	EXPECT_FALSE(Viewport->InputKey(FInputKeyParams{FKey("MouseX"), IE_Pressed}));
	EXPECT_EQ(Viewport->GetMousePosition(), (FIntPoint{640, 360}));
	EXPECT_TRUE(Viewport->MouseMove(700, 300));
	EXPECT_EQ(Viewport->GetMousePosition(), (FIntPoint{700, 300}));
}

TEST(SimClock, SleepingOnTheVirtualClockMovesTimeWithoutAFrame)
{
	auto Host = MakeArenaHost();
	const double Before = FPlatformTime::Seconds();
	const uint64 Frame = Host->GetFrameCounter();
	FPlatformProcess::Sleep(0.25);
	EXPECT_DOUBLE_EQ(FPlatformTime::Seconds() - Before, 0.25);
	EXPECT_EQ(Host->GetFrameCounter(), Frame);
	FPlatformProcess::Sleep(-1.0);
	EXPECT_DOUBLE_EQ(FPlatformTime::Seconds() - Before, 0.25);
}

TEST(SimControllers, AutoPossessAIFollowsTheEnginesRulesForPlacedAndSpawnedPawns)
{
	auto Host = MakeArenaHost();
	UWorld* World = StartArenaPie(*Host);
	// The map's enemy (PlacedInWorldOrSpawned) got its class's controller before play began.
	auto* Enemy = Cast<APawn>(FindActor(World, "Enemy"));
	ASSERT_TRUE(Enemy && Enemy->GetController());
	EXPECT_EQ(Enemy->GetController()->GetClass()->GetPathName(), "/Game/AI/BP_EnemyController.BP_EnemyController_C");
	// The player's hero (PlacedInWorld, spawned by the GameMode) has only the player controller, and no AI
	// controller was left standing around.
	EXPECT_EQ(World->GetFirstPlayerController()->GetPawn()->GetController(), World->GetFirstPlayerController());
	int AIControllers = 0;
	for (AActor* A : World->GetActors()) AIControllers += Cast<AAIController>(A) ? 1 : 0;
	EXPECT_EQ(AIControllers, 1);
	// Spawned later: the enemy class gets one, the hero class does not.
	APawn* Spawned = SpawnPawn(World, "/Game/Blueprints/BP_Enemy.BP_Enemy_C", FVector(0, 600, 92));
	EXPECT_TRUE(Cast<AAIController>(Spawned->GetController()));
	APawn* Hero = SpawnPawn(World, "/Game/Blueprints/BP_Hero.BP_Hero_C", FVector(0, -600, 92));
	EXPECT_EQ(Hero->GetController(), nullptr);
	// The editor world is not played: nothing is possessed there.
	EXPECT_EQ(Cast<APawn>(FindActor(GEditor->GetEditorWorld(), "Enemy"))->GetController(), nullptr);
}
