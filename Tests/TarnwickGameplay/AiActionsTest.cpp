// The "ai" actions on the simulated editor: the enemy's blackboard and move status over a session, their
// errors, navmesh stats in either world, adding a bounds volume, rebuilding within the call or up to a timeout,
// and checking points and pairs.
#include "GameplayTestFixture.h"

using Tarnwick::Gameplay::Test::FGameplayTest;

namespace
{
FJson KeyNamed(const FJson& Keys, const std::string& Name)
{
	for (const FJson& K : Keys)
	{
		if (K["name"] == Name) return K;
	}
	return FJson();
}
}

TEST_F(FGameplayTest, TheEnemysBlackboardChangesOverTheSession)
{
	CreateHost();
	ExpectError("ai", "runtime_get_all_bb_values", FJson{{"actor", "Enemy"}}, -32603, "This action needs a running PIE session");
	StartPie();
	const FJson First = Succeed("ai", "runtime_get_all_bb_values", FJson{{"actor", "enemy"}});
	EXPECT_EQ(First["actor"], "Enemy");
	EXPECT_EQ(First["controller"], "BP_EnemyController_C_0");
	EXPECT_EQ(First["blackboard_asset"], "/Game/AI/BB_Enemy.BB_Enemy");
	const FJson& Keys = First["keys"];
	ASSERT_EQ(Keys.size(), 6u);
	EXPECT_EQ(KeyNamed(Keys, "TargetLocation"), FJson::parse(R"({"name":"TargetLocation","type":"vector","value":"X=600.000 Y=-600.000 Z=0.000"})"));
	EXPECT_EQ(KeyNamed(Keys, "State"), FJson::parse(R"({"name":"State","type":"enum","value":1,"value_name":"Patrolling"})"));
	EXPECT_EQ(KeyNamed(Keys, "bHasReachedTarget")["value"], false);
	EXPECT_EQ(KeyNamed(Keys, "WaitTime"), FJson::parse(R"({"name":"WaitTime","type":"float","value":1.0})"));
	EXPECT_EQ(KeyNamed(Keys, "PatrolIndex")["type"], "int");
	const FJson Target = KeyNamed(Keys, "TargetActor");
	EXPECT_EQ(Target["type"], "object");
	EXPECT_EQ(Target["value"], "TP_PatrolB");
	EXPECT_EQ(Target["value_path"], "/Game/Maps/UEDPIE_0_Arena.Arena:PersistentLevel.TP_PatrolB");
	// The controller answers for itself too.
	EXPECT_EQ(Succeed("ai", "runtime_get_all_bb_values", FJson{{"actor", "BP_EnemyController_C_0"}})["keys"], Keys);

	const FJson Moving = Succeed("ai", "get_move_status", FJson{{"actor", "Enemy"}});
	EXPECT_EQ(Moving["status"], "Moving");
	EXPECT_TRUE(Moving["is_moving"].get<bool>());
	EXPECT_GT(Moving["path_points"].size(), 2u) << "around the ball";
	EXPECT_EQ(Moving["goal"], FJson::parse("[600.0, -600.0, 0.0]"));
	Host->StepFrames(60 * 8);
	const FJson Later = Succeed("ai", "runtime_get_all_bb_values", FJson{{"actor", "Enemy"}});
	EXPECT_NE(Later["keys"], Keys);
	EXPECT_EQ(KeyNamed(Later["keys"], "TargetLocation")["value"], "X=600.000 Y=600.000 Z=0.000") << "on its way back to A";
}

TEST_F(FGameplayTest, BlackboardAndMoveStatusErrorsNameTheActor)
{
	CreateHost();
	StartPie();
	ExpectError("ai", "runtime_get_all_bb_values", FJson::object(), -32602, "Missing required parameter 'actor'");
	ExpectError("ai", "runtime_get_all_bb_values", FJson{{"actor", "Dragon"}}, -32602,
		"no actor matching 'Dragon' in the PIE world (searched actor labels and object names, case-insensitive)");
	ExpectError("ai", "runtime_get_all_bb_values", FJson{{"actor", "Crate_1"}}, -32603,
		"'Crate_1' is neither a pawn nor a controller, so it has no blackboard or path following");
	ExpectError("ai", "runtime_get_all_bb_values", FJson{{"actor", "BP_Hero"}}, -32603,
		"'BP_Hero' (controller PlayerController_0) has no blackboard: it is not an AI controller");
	ExpectError("ai", "get_move_status", FJson{{"actor", "BP_Hero"}}, -32603,
		"'BP_Hero' (controller PlayerController_0) has no path following: it is not an AI controller");
}

TEST_F(FGameplayTest, OnArenaNoNavTheEnemyReportsAMoveInProgressAndStandsStill)
{
	CreateHost("/Game/Maps/Arena_NoNav");
	StartPie();
	const FJson Before = Succeed("ai", "get_move_status", FJson{{"actor", "Enemy"}});
	Host->StepFrames(120);
	const FJson After = Succeed("ai", "get_move_status", FJson{{"actor", "Enemy"}});
	EXPECT_TRUE(After["is_moving"].get<bool>());
	EXPECT_EQ(After["path_points"], FJson::array());
	EXPECT_EQ(After["location"], Before["location"]);
	EXPECT_EQ(After["speed"], 0.0);
	const FJson Stats = Succeed("ai", "get_navmesh_stats");
	EXPECT_EQ(Stats, FJson::parse(R"({"is_built":false,"nav_bounds_volume_count":1,"tile_count":0,"dirty_areas_remaining":0,
		"build_in_progress":false,"world":"pie","map":"Arena_NoNav"})"));
}

TEST_F(FGameplayTest, NavmeshStatsOfEitherWorld)
{
	CreateHost();
	EXPECT_EQ(Succeed("ai", "get_navmesh_stats"), FJson::parse(R"({"is_built":true,"nav_bounds_volume_count":1,"tile_count":16,
		"dirty_areas_remaining":0,"build_in_progress":false,"world":"editor","map":"Arena"})"));
	ExpectError("ai", "get_navmesh_stats", FJson{{"world", "pie"}}, -32603, "This action needs a running PIE session");
	ExpectError("ai", "get_navmesh_stats", FJson{{"world", "server"}}, -32602, "Parameter 'world' must be auto, editor or pie (got \"server\")");
	StartPie();
	EXPECT_EQ(Succeed("ai", "get_navmesh_stats")["world"], "pie");
	EXPECT_EQ(Succeed("ai", "get_navmesh_stats", FJson{{"world", "EDITOR"}})["world"], "editor");
}

TEST_F(FGameplayTest, AddingABoundsVolumeAndRebuilding)
{
	CreateHost("/Game/Maps/Empty");
	ExpectError("ai", "add_nav_bounds_volume", FJson{{"location", {0, 0, 0}}}, -32602, "Missing required parameter 'extent'");
	ExpectError("ai", "add_nav_bounds_volume", FJson{{"location", {0, 0}}, {"extent", {1, 1, 1}}}, -32602,
		"Parameter 'location' must be [x, y, z] of finite numbers");
	ExpectError("ai", "add_nav_bounds_volume", FJson{{"location", {0, 0, 0}}, {"extent", {100, 0, 100}}}, -32602,
		"Parameter 'extent' must be a half size [x, y, z] with every component above 0");
	ExpectError("ai", "add_nav_bounds_volume", FJson{{"location", {0, 0, 0}}, {"extent", {1, 1, 1}}, {"world", "auto"}}, -32602,
		"Parameter 'world' of ai.add_nav_bounds_volume must be editor or pie");
	const FJson Empty = Succeed("ai", "rebuild_navigation");
	EXPECT_FALSE(Empty["built"].get<bool>());
	EXPECT_EQ(Empty["nav_bounds_volume_count"], 0);
	EXPECT_EQ(Empty["warning"], "This world has no NavMeshBoundsVolume, so there is nothing to build: add one with ai_add_nav_bounds_volume.");

	const FJson Added = Succeed("ai", "add_nav_bounds_volume",
		FJson{{"location", {0, 0, 100}}, {"extent", {3000, 3000, 500}}, {"folder_path", "Harness/Navigation"}});
	EXPECT_EQ(Added["name"], "NavMeshBoundsVolume_0");
	EXPECT_EQ(Added["folder_path"], "Harness/Navigation");
	EXPECT_EQ(Added["nav_bounds_volume_count"], 1);
	AActor* Volume = Tarnwick::FindActorInWorld(GEditor->GetEditorWorld(), "NavMeshBoundsVolume_0");
	ASSERT_TRUE(Volume);
	EXPECT_EQ(Volume->GetActorScale3D(), FVector(30, 30, 5));
	// No floor under it yet: built, and empty.
	const FJson Built = Succeed("ai", "build_navigation", FJson{{"timeout_seconds", 5000}});
	EXPECT_TRUE(Built["built"].get<bool>());
	EXPECT_FALSE(Built["timed_out"].get<bool>());
	EXPECT_EQ(Built["timeout_seconds"], 600.0);
	EXPECT_EQ(Built["timeout_seconds_requested"], 5000);
	EXPECT_EQ(Built["tiles_built"], 36);
	EXPECT_EQ(Built["tile_count"], 0);
}

TEST_F(FGameplayTest, ARebuildStopsAtItsTimeoutAndTheRestFollowsOverFrames)
{
	CreateHost();
	const FJson R = Succeed("ai", "rebuild_navigation", FJson{{"timeout_seconds", 0}});
	EXPECT_FALSE(R["built"].get<bool>());
	EXPECT_TRUE(R["timed_out"].get<bool>());
	EXPECT_EQ(R["tiles_built"], 0);
	EXPECT_EQ(R["dirty_areas_remaining"], 16);
	Host->StepFrames(3);
	EXPECT_EQ(Succeed("ai", "get_navmesh_stats")["dirty_areas_remaining"], 13);
	Host->StepFrames(13);
	EXPECT_TRUE(Succeed("ai", "get_navmesh_stats")["is_built"].get<bool>());
	ExpectError("ai", "rebuild_navigation", FJson{{"timeout_seconds", "soon"}}, -32602, "Parameter 'timeout_seconds' must be a number");
}

TEST_F(FGameplayTest, PointsAndPairsAreCheckedAgainstTheNavmesh)
{
	CreateHost();
	const FJson R = Succeed("ai", "validate_nav_points",
		FJson::parse(R"({"points":[{"name":"Start","location":[-800,0,0]},{"name":"InPillar","location":[-200,-400,0]},
			{"name":"Behind","location":[300,500,0]},{"name":"Outside","location":[5000,0,0]}],
			"require_path_pairs":[{"from":"Start","to":"Behind"},{"from":"Start","to":"InPillar"}]})"));
	EXPECT_TRUE(R["is_built"].get<bool>());
	EXPECT_EQ(R["points"][0]["on_navmesh"], true);
	EXPECT_EQ(R["points"][0]["navmesh_location"], FJson::parse("[-800.0, 0.0, 0.0]"));
	EXPECT_EQ(R["points"][1]["on_navmesh"], false);
	EXPECT_FALSE(R["points"][1].contains("navmesh_location"));
	EXPECT_EQ(R["points"][3]["on_navmesh"], false);
	EXPECT_TRUE(R["pairs"][0]["path_found"].get<bool>());
	EXPECT_GE(R["pairs"][0]["path_length"].get<double>(), std::hypot(1100.0, 500.0));
	EXPECT_FALSE(R["pairs"][1]["path_found"].get<bool>());
	EXPECT_EQ(R["pairs"][1]["path_length"], 0.0);
	EXPECT_FALSE(R["all_points_on_navmesh"].get<bool>());
	EXPECT_FALSE(R["all_pairs_connected"].get<bool>());
	ExpectError("ai", "validate_nav_points", FJson::object(), -32602, "Parameter 'points' must be a non-empty array");
	ExpectError("ai", "validate_nav_points", FJson::parse(R"({"points":[{"name":"A","location":[0,0,0]}],"require_path_pairs":[{"from":"A","to":"B"}]})"),
		-32602, "require_path_pairs[0]: no point named 'B'");
}

TEST_F(FGameplayTest, OnAnUnbuiltWorldNoPointIsOnTheNavmesh)
{
	CreateHost("/Game/Maps/Arena_NoNav");
	const FJson R = Succeed("ai", "validate_nav_points", FJson::parse(R"({"points":[{"name":"Start","location":[-800,0,0]}]})"));
	EXPECT_FALSE(R["is_built"].get<bool>());
	EXPECT_FALSE(R["points"][0]["on_navmesh"].get<bool>());
	EXPECT_EQ(R["warning"], "Navigation is not built in this world, so no point is on a navmesh: run ai_rebuild_navigation first.");
}
