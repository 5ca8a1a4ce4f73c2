// Navigation in the simulated worlds: maps that open with or without their navmesh, PIE taking the editor's,
// tiles regenerated over frames after an edit, and AI controllers walking paths (or standing still without).
#include "SimNavigationSystem.h"
#include "SimPathFollowing.h"
#include "SimTestUtils.h"

#include <cmath>

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

namespace
{
std::unique_ptr<FSimHost> HostOn(const std::string& Map)
{
	FSimHostOptions Options;
	Options.StartupMap = Map;
	return MakeArenaHost(Options);
}

UWorld* StartPie(FSimHost& Host)
{
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	EXPECT_TRUE(Host.StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 10));
	return GEditor->GetPlayWorld();
}

AAIController* SpawnWalker(UWorld* World, const FVector& At)
{
	std::string Error;
	UClass* Class = Tarnwick::Host::GetObjectSystem()->LoadClass("/Game/Blueprints/BP_Hero.BP_Hero_C", &Error);
	FActorSpawnParameters Params;
	Params.Location = At;
	auto* Pawn = Cast<APawn>(World->SpawnActor(Class, Params, &Error));
	EXPECT_TRUE(Pawn) << Error;
	Pawn->SpawnDefaultController();
	return Cast<AAIController>(Pawn->GetController());
}

double Distance2D(const FVector& A, const FVector& B) { return std::hypot(A.X - B.X, A.Y - B.Y); }
}

TEST(SimNavigation, TheArenaOpensWithItsNavmeshAndArenaNoNavWithout)
{
	auto Host = HostOn("/Game/Maps/Arena");
	UNavigationSystemV1* Nav = UNavigationSystemV1::GetCurrent(GEditor->GetEditorWorld());
	ASSERT_TRUE(Nav);
	EXPECT_TRUE(Nav->IsNavigationBuilt());
	EXPECT_EQ(Nav->GetNumNavigationBounds(), 1);
	EXPECT_EQ(Nav->GetNavMeshTilesCount(), 16);
	EXPECT_EQ(Nav->GetNumRemainingBuildTasks(), 0);
	std::string Error;
	ASSERT_TRUE(GEditor->LoadMap("/Game/Maps/Arena_NoNav", &Error)) << Error;
	Nav = UNavigationSystemV1::GetCurrent(GEditor->GetEditorWorld());
	EXPECT_FALSE(Nav->IsNavigationBuilt());
	EXPECT_EQ(Nav->GetNumNavigationBounds(), 1);
	EXPECT_EQ(Nav->GetNavMeshTilesCount(), 0);
	EXPECT_FALSE(Nav->FindPathToLocationSynchronously(FVector(-600, 0, 0), FVector(600, 0, 0)).IsValid());
	// Nothing builds it behind the editor's back.
	Host->StepFrames(5);
	EXPECT_FALSE(Nav->IsNavigationBuilt());
}

TEST(SimNavigation, BuildingOverFramesCountsDownOneTileAFrame)
{
	auto Host = HostOn("/Game/Maps/Arena_NoNav");
	UNavigationSystemV1* Nav = UNavigationSystemV1::GetCurrent(GEditor->GetEditorWorld());
	Nav->RebuildAll();
	EXPECT_TRUE(Nav->IsNavigationBuildInProgress());
	EXPECT_EQ(Nav->GetNumRemainingBuildTasks(), 16);
	for (int32 Left = 15; Left >= 0; --Left)
	{
		Host->StepFrame();
		EXPECT_EQ(Nav->GetNumRemainingBuildTasks(), Left);
	}
	EXPECT_TRUE(Nav->IsNavigationBuilt());
	EXPECT_EQ(Nav->GetNavMeshTilesCount(), 16);
}

TEST(SimNavigation, MovingAnObstacleMarksItsTilesDirtyAndTheyAreRebuilt)
{
	auto Host = HostOn("/Game/Maps/Arena");
	UWorld* World = GEditor->GetEditorWorld();
	UNavigationSystemV1* Nav = UNavigationSystemV1::GetCurrent(World);
	FVector Out;
	const FVector Spot(1500, 1500, 0);
	ASSERT_TRUE(Nav->ProjectPointToNavigation(Spot, Out, FVector(10, 10, 50)));
	// The crate moves from (300, 200) to (1500, 1500): the tile it left and the tile it entered.
	FindActor(World, "Crate_1")->SetActorLocation(FVector(1500, 1500, 50));
	Host->StepFrame();
	EXPECT_EQ(Nav->GetNumRemainingBuildTasks(), 1) << "one of the two tiles was rebuilt in the same frame";
	EXPECT_FALSE(Nav->IsNavigationBuilt());
	Host->StepFrame();
	EXPECT_EQ(Nav->GetNumRemainingBuildTasks(), 0);
	EXPECT_TRUE(Nav->IsNavigationBuilt());
	EXPECT_FALSE(Nav->ProjectPointToNavigation(Spot, Out, FVector(10, 10, 50)));
	EXPECT_TRUE(Nav->ProjectPointToNavigation(FVector(300, 150, 0), Out, FVector(10, 10, 50))) << "where the crate stood";
}

TEST(SimNavigation, ANewBoundsVolumeLaysTheGridOutAgain)
{
	auto Host = HostOn("/Game/Maps/Arena");
	UWorld* World = GEditor->GetEditorWorld();
	UNavigationSystemV1* Nav = UNavigationSystemV1::GetCurrent(World);
	std::string Error;
	FActorSpawnParameters Params;
	Params.Location = FVector(3000, 0, 0);
	Params.Scale = FVector(5, 5, 2);
	ASSERT_TRUE(World->SpawnActor(Tarnwick::Host::GetObjectSystem()->LoadClass(NavMeshBoundsVolumeClassPath, &Error), Params, &Error)) << Error;
	Host->StepFrame();
	EXPECT_EQ(Nav->GetNumNavigationBounds(), 2);
	// -2000..3500 by -2000..2000: 6 x 4 tiles, all dirty, one built this frame.
	EXPECT_EQ(Nav->GetNumRemainingBuildTasks(), 23);
	Host->StepFrames(23);
	EXPECT_TRUE(Nav->IsNavigationBuilt());
	EXPECT_EQ(Nav->GetNavMeshTilesCount(), 16) << "the new volume holds no floor";
}

TEST(SimNavigation, PIEStartsWithTheEditorWorldsNavmesh)
{
	auto Host = HostOn("/Game/Maps/Arena");
	UWorld* Pie = StartPie(*Host);
	UNavigationSystemV1* Nav = UNavigationSystemV1::GetCurrent(Pie);
	ASSERT_TRUE(Nav);
	EXPECT_NE(Nav, UNavigationSystemV1::GetCurrent(GEditor->GetEditorWorld()));
	EXPECT_TRUE(Nav->IsNavigationBuilt());
	EXPECT_EQ(Nav->GetNavMeshTilesCount(), 16);
}

TEST(SimNavigation, AnAIWalksAroundTheCratesToItsGoalAndStops)
{
	auto Host = HostOn("/Game/Maps/Arena");
	UWorld* Pie = StartPie(*Host);
	AAIController* AI = SpawnWalker(Pie, FVector(300, -100, 92));
	ASSERT_TRUE(AI);
	Host->StepFrames(2);
	const FVector Goal(300, 500, 0);
	ASSERT_EQ(AI->MoveToLocation(Goal), EPathFollowingRequestResult::RequestSuccessful);
	const std::vector<FVector> Path = AI->GetPathFollowingComponent()->GetPathPoints();
	ASSERT_GT(Path.size(), 2u) << "the crates stand in the way";
	APawn* Pawn = AI->GetPawn();
	ASSERT_TRUE(Host->StepUntil([&] { return AI->GetMoveStatus() == EPathFollowingStatus::Idle; }, 600));
	EXPECT_EQ(AI->GetPathFollowingComponent()->GetLastMoveResult(), EPathFollowingResult::Success);
	EXPECT_LE(Distance2D(Pawn->GetActorLocation(), Goal), 39.0);
	Host->StepFrames(30);
	EXPECT_EQ(Pawn->GetVelocity(), FVector());
	// The walk never went through a crate.
	EXPECT_LT(Distance2D(Pawn->GetActorLocation(), Goal), 80.0);
}

TEST(SimNavigation, AGoalOffTheNavmeshFailsTheRequest)
{
	auto Host = HostOn("/Game/Maps/Arena");
	UWorld* Pie = StartPie(*Host);
	AAIController* AI = SpawnWalker(Pie, FVector(-600, -600, 92));
	Host->StepFrames(2);
	EXPECT_EQ(AI->MoveToLocation(FVector(-200, -400, 0)), EPathFollowingRequestResult::Failed) << "inside the pillar";
	EXPECT_EQ(AI->MoveToLocation(FVector(5000, 0, 0)), EPathFollowingRequestResult::Failed) << "outside the bounds";
	EXPECT_EQ(AI->GetMoveStatus(), EPathFollowingStatus::Idle);
}

TEST(SimNavigation, AWaitingMoveSetsOffOnceNavigationIsBuilt)
{
	auto Host = HostOn("/Game/Maps/Arena_NoNav");
	UWorld* Pie = StartPie(*Host);
	AAIController* AI = SpawnWalker(Pie, FVector(-600, 0, 92));
	Host->StepFrames(2);
	const FVector Start = AI->GetPawn()->GetActorLocation();
	ASSERT_EQ(AI->MoveToLocation(FVector(0, 0, 0)), EPathFollowingRequestResult::RequestSuccessful);
	Host->StepFrames(60);
	EXPECT_EQ(AI->GetPawn()->GetActorLocation(), Start);
	EXPECT_EQ(AI->GetMoveStatus(), EPathFollowingStatus::Moving);
	UNavigationSystemV1::GetCurrent(Pie)->Build();
	ASSERT_TRUE(Host->StepUntil([&] { return AI->GetMoveStatus() == EPathFollowingStatus::Idle; }, 600));
	EXPECT_EQ(AI->GetPathFollowingComponent()->GetLastMoveResult(), EPathFollowingResult::Success);
	EXPECT_LE(Distance2D(AI->GetPawn()->GetActorLocation(), FVector()), 39.0);
}

TEST(SimNavigation, MoveToActorFollowsAGoalThatMoves)
{
	auto Host = HostOn("/Game/Maps/Arena");
	UWorld* Pie = StartPie(*Host);
	AAIController* AI = SpawnWalker(Pie, FVector(-600, 600, 92));
	AActor* Target = FindActor(Pie, "Ball");
	Host->StepFrames(2);
	ASSERT_EQ(AI->MoveToActor(Target, 150.0f), EPathFollowingRequestResult::RequestSuccessful);
	Host->StepFrames(20);
	Target->SetActorLocation(FVector(-600, -900, 50));
	ASSERT_TRUE(Host->StepUntil([&] { return AI->GetMoveStatus() == EPathFollowingStatus::Idle; }, 900));
	EXPECT_LE(Distance2D(AI->GetPawn()->GetActorLocation(), Target->GetActorLocation()), 150.0 + 34.0);
}
