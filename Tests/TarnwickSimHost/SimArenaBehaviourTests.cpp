// The Arena's living world in PIE: the enemy patrols between its target points writing its blackboard, the
// fire pit burns the hero's health and warns on a timer, the pickup spawns late, and on Arena_NoNav the enemy
// stands still while its move stays in progress.
#include "SimAbilitySystem.h"
#include "SimBlackboard.h"
#include "SimTestUtils.h"

#include "GameViewport.h"

#include <cmath>

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

namespace
{
UWorld* StartPie(FSimHost& Host)
{
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	EXPECT_TRUE(Host.StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 10));
	return GEditor->GetPlayWorld();
}

UBlackboardComponent* EnemyBlackboard(UWorld* World)
{
	auto* Enemy = Cast<APawn>(FindActor(World, "Enemy"));
	auto* AI = Enemy ? Cast<AAIController>(Enemy->GetController()) : nullptr;
	return AI ? AI->GetBlackboardComponent() : nullptr;
}

double HeroHealth(UWorld* World, bool bBase = false)
{
	APawn* Hero = World->GetFirstPlayerController()->GetPawn();
	const UAbilitySystemComponent* Asc = UAbilitySystemGlobals::GetAbilitySystemComponentFromActor(Hero);
	const FGameplayAttribute Health{"USet", "Health"};
	return bBase ? Asc->GetNumericAttributeBase(Health) : Asc->GetNumericAttribute(Health);
}

std::string EnumName(const UBlackboardComponent* BB, const char* Key)
{
	const int32 Id = BB->GetKeyID(Key);
	return BB->GetEnumValueNames(Id)[BB->GetValueAsEnum(Id)];
}
}

TEST(SimArena, TheEnemyPatrolsBetweenItsPointsAndItsBlackboardFollows)
{
	auto Host = MakeArenaHost();
	UWorld* World = StartPie(*Host);
	UBlackboardComponent* BB = EnemyBlackboard(World);
	ASSERT_TRUE(BB);
	EXPECT_EQ(BB->GetBlackboardAsset()->GetPathName(), "/Game/AI/BB_Enemy.BB_Enemy");
	EXPECT_EQ(EnumName(BB, "State"), "Patrolling");
	EXPECT_EQ(BB->GetValueAsVector(BB->GetKeyID("TargetLocation")), FVector(600, -600, 0));
	EXPECT_EQ(BB->GetValueAsObject(BB->GetKeyID("TargetActor"))->GetName(), "TP_PatrolB");
	EXPECT_FLOAT_EQ(BB->GetValueAsFloat(BB->GetKeyID("WaitTime")), 1.0f);
	AActor* Enemy = FindActor(World, "Enemy");
	// About 900 cm around the ball at 300 cm/s: there in a few seconds.
	ASSERT_TRUE(Host->StepUntil([&] { return BB->GetValueAsBool(BB->GetKeyID("bHasReachedTarget")); }, 60 * 8));
	EXPECT_EQ(EnumName(BB, "State"), "AtTarget");
	EXPECT_LT(std::hypot(Enemy->GetActorLocation().X - 600, Enemy->GetActorLocation().Y + 600), 60.0);
	// After the one-second wait it sets off back to A.
	ASSERT_TRUE(Host->StepUntil([&] { return EnumName(BB, "State") == "Patrolling"; }, 90));
	EXPECT_EQ(BB->GetValueAsVector(BB->GetKeyID("TargetLocation")), FVector(600, 600, 0));
	EXPECT_EQ(BB->GetValueAsInt(BB->GetKeyID("PatrolIndex")), 0);
	ASSERT_TRUE(Host->StepUntil([&] { return BB->GetValueAsBool(BB->GetKeyID("bHasReachedTarget")); }, 60 * 8));
	EXPECT_LT(std::hypot(Enemy->GetActorLocation().X - 600, Enemy->GetActorLocation().Y - 600), 60.0);
}

TEST(SimArena, OnArenaNoNavTheEnemyStandsStillWithItsMoveInProgress)
{
	FSimHostOptions Options;
	Options.StartupMap = "/Game/Maps/Arena_NoNav";
	auto Host = MakeArenaHost(Options);
	UWorld* World = StartPie(*Host);
	auto* Enemy = Cast<APawn>(FindActor(World, "Enemy"));
	Host->StepFrames(2);
	const FVector Start = Enemy->GetActorLocation();
	Host->StepFrames(300);
	EXPECT_EQ(Enemy->GetActorLocation(), Start);
	EXPECT_EQ(Enemy->GetVelocity(), FVector());
	EXPECT_EQ(Cast<AAIController>(Enemy->GetController())->GetMoveStatus(), EPathFollowingStatus::Moving);
	EXPECT_EQ(EnumName(EnemyBlackboard(World), "State"), "Patrolling");
}

TEST(SimArena, TheFirePitBurnsTheHeroAndWarnsOnATimer)
{
	auto Host = MakeArenaHost();
	FLogRecorder Log;
	UWorld* World = StartPie(*Host);
	EXPECT_EQ(HeroHealth(World), 100.0);
	// The hero walks forward into the pit (it starts at x = -800, the pit is at -450 with a 150 cm reach).
	World->GetGameViewport()->InputKey(FInputKeyParams{FKey("W"), IE_Pressed});
	ASSERT_TRUE(Host->StepUntil([&] { return HeroHealth(World) < 100.0; }, 120));
	EXPECT_EQ(HeroHealth(World), 95.0);
	EXPECT_TRUE(Log.Has("LogArena", "The hero stepped into the fire pit"));
	World->GetGameViewport()->InputKey(FInputKeyParams{FKey("W"), IE_Released});
	// -5 at once and every half second for two seconds: four burns in all.
	Host->StepFrames(60 * 3);
	EXPECT_EQ(HeroHealth(World), 80.0);
	EXPECT_EQ(HeroHealth(World, true), 80.0);
	int Warnings = 0;
	for (const auto& L : Log.Snapshot())
	{
		if (L.Category == "LogArena" && L.Verbosity == ELogVerbosity::Warning && L.Message == "The fire pit is still burning") ++Warnings;
	}
	EXPECT_GE(Warnings, 1);
}

TEST(SimArena, ThePickupSpawnsLateAndHealsWhenReached)
{
	auto Host = MakeArenaHost();
	FLogRecorder Log;
	UWorld* World = StartPie(*Host);
	Host->StepFrames(60);
	EXPECT_EQ(FindActor(World, "HealthPickup"), nullptr) << "one second in";
	Host->StepFrames(40);
	AActor* Pickup = FindActor(World, "HealthPickup");
	ASSERT_TRUE(Pickup) << "1.67 seconds in";
	EXPECT_EQ(Pickup->GetActorLocation(), FVector(-450, 400, 40));
	EXPECT_TRUE(Log.Has("LogArena", "A health pickup appeared"));
	// Hurt the hero a little and walk it onto the pickup; health is bounded by MaxHealth.
	APawn* Hero = World->GetFirstPlayerController()->GetPawn();
	auto* Asc = UAbilitySystemGlobals::GetAbilitySystemComponentFromActor(Hero);
	Asc->SetNumericAttributeBase(FGameplayAttribute{"USet", "Health"}, 90.0);
	Hero->SetActorLocation(FVector(-450, 350, 88));
	Host->StepFrames(2);
	EXPECT_EQ(HeroHealth(World), 100.0);
	EXPECT_EQ(FindActor(World, "HealthPickup"), nullptr);
	EXPECT_TRUE(Log.Has("LogArena", "The hero picked up 25 health"));
}

TEST(SimArena, ABrokenBlueprintLogsARuntimeErrorAsTheEngineDoes)
{
	auto Host = MakeArenaHost();
	FLogRecorder Log;
	UWorld* World = StartPie(*Host);
	std::string Error;
	FActorSpawnParameters Params;
	ASSERT_TRUE(World->SpawnActor(Tarnwick::Host::GetObjectSystem()->LoadClass("/Game/Blueprints/BP_Broken.BP_Broken_C", &Error), Params, &Error));
	Host->StepFrames(110);
	EXPECT_FALSE(Log.Has("LogScript", "Accessed None"));
	Host->StepFrames(20);
	EXPECT_TRUE(Log.Has("LogScript",
		"Blueprint Runtime Error: \"Accessed None trying to read property TargetActor\". Node:  Get Actor Location Graph:  EventGraph "
		"Function:  Execute Ubergraph BP Broken Blueprint:  BP_Broken"));
	EXPECT_TRUE(Log.Has("LogScript", "Accessed None trying to read property TargetActor\n\tBP_Broken_C /Game/Maps/UEDPIE_0_Arena.Arena:PersistentLevel.BP_Broken_C_0"));
}

TEST(SimArena, ADataAssetIsAnObjectOfItsClassWithItsValues)
{
	auto Host = MakeArenaHost();
	std::string Error;
	UObject* Asset = Tarnwick::Host::GetObjectSystem()->LoadObject("/Game/Data/DA_RaiderEnemy", &Error);
	ASSERT_TRUE(Asset) << Error;
	EXPECT_EQ(Asset->GetPathName(), "/Game/Data/DA_RaiderEnemy.DA_RaiderEnemy");
	EXPECT_EQ(Asset->GetClass()->GetPathName(), "/Game/Data/BP_EnemyConfig.BP_EnemyConfig_C");
	EXPECT_EQ(ReadProperty(Asset, "Faction").StringValue, "Raiders");
	EXPECT_FLOAT_EQ(static_cast<float>(ReadProperty(Asset, "Aggression").DoubleValue), 0.9f);
}

TEST(SimArena, AttributesAndBlackboardsAreInTheStateDump)
{
	auto Host = MakeArenaHost();
	StartPie(*Host);
	const std::string Dump = Host->DumpState().dump();
	EXPECT_NE(Dump.find(R"("attributes":{"USet.Health":[100.0,100.0])"), std::string::npos);
	EXPECT_NE(Dump.find(R"("blackboard":{"TargetLocation":"X=600.000 Y=-600.000 Z=0.000")"), std::string::npos);
}
