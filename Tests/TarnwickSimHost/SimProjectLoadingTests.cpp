// Opening projects and maps: the Arena sample as shipped, and broken projects and maps, whose errors name the
// file and what is wrong while the editor keeps running.
#include "SimTestUtils.h"

#include "Paths.h"
#include "UObjectGlobals.h"

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

TEST(SimProjectLoading, ArenaOpensItsStartupMap)
{
	FLogRecorder Log;
	auto Host = MakeArenaHost();
	ASSERT_TRUE(Host);
	EXPECT_EQ(Host->GetProject().Descriptor.Name, "Arena");
	EXPECT_EQ(Host->GetProject().Descriptor.Modules, std::vector<std::string>{"Arena"});
	EXPECT_EQ(FPaths::ProjectContentDir(), Host->GetProject().Dir + "Content/");
	UWorld* World = GEditor->GetEditorWorld();
	ASSERT_TRUE(World);
	EXPECT_EQ(World->GetWorldType(), EWorldType::Editor);
	EXPECT_EQ(World->GetMapName(), "Arena");
	EXPECT_FALSE(World->HasBegunPlay());

	std::vector<std::string> Names;
	for (AActor* A : World->GetActors()) Names.push_back(A->GetName());
	EXPECT_EQ(Names, (std::vector<std::string>{"WorldSettings", "Floor", "DirectionalLight_0", "PointLight_0", "PlayerStart",
						 "NavMeshBoundsVolume_0", "Crate_1", "Crate_2", "Pillar", "Ball", "CameraActor_0", "TP_PatrolA", "TP_PatrolB", "Enemy",
						 "FirePit", "PickupSpawner"}));
	AActor* Sun = FindActor(World, "DirectionalLight_0");
	EXPECT_EQ(Sun->GetActorLabel(), "Sun");
	EXPECT_EQ(Sun->GetFolderPath(), "Lighting");
	EXPECT_EQ(Sun->GetActorRotation(), FRotator(-45, 30, 0));
	EXPECT_EQ(ReadProperty(Sun->GetComponents()[0], "Intensity").DoubleValue, 10.0);
	EXPECT_EQ(ReadProperty(Sun->GetComponents()[0], "Mobility").StringValue, "Stationary");
	AActor* Lamp = FindActor(World, "PointLight_0");
	const FPropertyValue Color = ReadProperty(Lamp->GetComponents()[0], "LightColor");
	EXPECT_EQ(Color.FindField("G")->IntValue, 214);
	EXPECT_EQ(Color.FindField("A")->IntValue, 255);
	EXPECT_EQ(ReadProperty(FindActor(World, "Pillar"), "Tags").Elements[0].StringValue, "Obstacle");
	EXPECT_EQ(ReadProperty(World->GetWorldSettings(), "DefaultGameMode").ObjectValue.Get()->GetPathName(),
		"/Game/Blueprints/BP_ArenaGameMode.BP_ArenaGameMode_C");

	// The map pulled in the GameMode, the hero and its animation Blueprint, the enemy with its controller, and the
	// hazard (the pickup its spawner spawns later is loaded only then).
	std::vector<std::string> BPs;
	for (UBlueprint* BP : Tarnwick::Host::GetObjectSystem()->GetLoadedBlueprints()) BPs.push_back(BP->GetPathName());
	EXPECT_EQ(BPs, (std::vector<std::string>{"/Game/Characters/ABP_Hero.ABP_Hero", "/Game/Blueprints/BP_Hero.BP_Hero",
					   "/Game/Blueprints/BP_ArenaGameMode.BP_ArenaGameMode", "/Game/AI/BP_EnemyController.BP_EnemyController",
					   "/Game/Blueprints/BP_Enemy.BP_Enemy", "/Game/Blueprints/BP_Hazard.BP_Hazard"}));

	EXPECT_TRUE(Log.Has("LogInit", "Running engine for game: Arena"));
	EXPECT_TRUE(Log.Has("LogEditorServer", "Loading map /Game/Maps/Arena"));
	EXPECT_TRUE(FPackageName::DoesPackageExist("/Game/Maps/Empty"));
	EXPECT_TRUE(FPackageName::DoesPackageExist("/Engine/BasicShapes/Plane"));
	EXPECT_FALSE(FPackageName::DoesPackageExist("/Game/Maps/Nope"));
	std::string File;
	ASSERT_TRUE(FPackageName::TryConvertLongPackageNameToFilename("/Game/Maps/Arena", File));
	EXPECT_EQ(File, Host->GetProject().Dir + "Content/Maps/Arena.umap");
	ASSERT_TRUE(FPackageName::TryConvertLongPackageNameToFilename("/Game/Blueprints/BP_Hero", File));
	EXPECT_EQ(File, Host->GetProject().Dir + "Content/Blueprints/BP_Hero.uasset");
}

TEST(SimProjectLoading, OpeningAnotherMapReplacesTheEditorWorld)
{
	auto Host = MakeArenaHost();
	FWeakObjectPtr OldWorld(GEditor->GetEditorWorld());
	FWeakObjectPtr OldFloor(FindActor(GEditor->GetEditorWorld(), "Floor"));
	std::string Error;
	ASSERT_TRUE(GEditor->LoadMap("/Game/Maps/Empty", &Error)) << Error;
	EXPECT_FALSE(OldWorld.IsValid());
	EXPECT_FALSE(OldFloor.IsValid());
	EXPECT_EQ(GEditor->GetEditorWorld()->GetMapName(), "Empty");
	EXPECT_EQ(GEditor->GetEditorWorld()->GetActors().size(), 1u);
	// Reopening the open map reloads it.
	ASSERT_TRUE(GEditor->LoadMap("/Game/Maps/Empty", &Error)) << Error;
	EXPECT_EQ(GEditor->GetWorldContexts().size(), 1u);
	Host->StepFrames(2);
}

TEST(SimProjectLoading, BrokenMapsFailWithTheFileAndLeaveTheOpenMap)
{
	FTempProject P;
	P.Write("Content/Maps/Good.umap", R"({"Type":"World","Actors":[{"Name":"Spot","Class":"/Script/Engine.TargetPoint"}]})");
	P.Write("Content/Maps/BadJson.umap", R"({"Type":"World","Actors":[}")");
	P.Write("Content/Maps/BadClass.umap", R"({"Type":"World","Actors":[{"Name":"A","Class":"/Game/BP_Nope.BP_Nope_C"}]})");
	P.Write("Content/Maps/BadProp.umap", R"({"Type":"World","Actors":[{"Name":"A","Class":"/Script/Engine.TargetPoint","Properties":{"Speed":1}}]})");
	P.Write("Content/Maps/BadComp.umap",
		R"({"Type":"World","Actors":[{"Name":"A","Class":"/Script/Engine.StaticMeshActor","Components":{"Mesh":{}}}]})");
	P.Write("Content/Maps/BadRef.umap",
		R"({"Type":"World","Actors":[{"Name":"A","Class":"/Script/Engine.StaticMeshActor","Components":{"StaticMeshComponent0":{"StaticMesh":"/Engine/BasicShapes/Torus.Torus"}}}]})");
	P.Write("Content/Maps/BadSettings.umap", R"({"Type":"World","WorldSettings":{"DefaultGameMode":"/Script/Engine.Pawn"},"Actors":[]})");
	P.Write("Content/Maps/BadBlueprint.umap", R"({"Type":"World","Actors":[{"Name":"A","Class":"/Game/BP_Broken.BP_Broken_C"}]})");
	P.Write("Content/BP_Broken.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","Variables":[{"Name":"X","Type":"quat"}]})");
	FSimHostOptions Options;
	Options.StartupMap = "/Game/Maps/Good";
	auto Host = MakeHost(P.Path(), Options);
	FLogRecorder Log;
	const std::pair<const char*, const char*> Cases[] = {
		{"/Game/Maps/BadJson",
			"Content/Maps/BadJson.umap: not valid JSON (parse error at line 1, column 27: syntax error while parsing value - unexpected '}'; "
			"expected '[', '{', or a literal)"},
		{"/Game/Maps/BadClass",
			"Content/Maps/BadClass.umap: Actors[0] (A): class '/Game/BP_Nope.BP_Nope_C': no such package '/Game/BP_Nope' (expected "
			"Content/BP_Nope.uasset)"},
		{"/Game/Maps/BadProp", "Content/Maps/BadProp.umap: Actors[0] (A): class /Script/Engine.TargetPoint has no property 'Speed'"},
		{"/Game/Maps/BadComp", "Content/Maps/BadComp.umap: Actors[0] (A): /Script/Engine.StaticMeshActor has no component \"Mesh\""},
		{"/Game/Maps/BadRef",
			"Content/Maps/BadRef.umap: Actors[0] (A): Components.StaticMeshComponent0: property 'StaticMesh': cannot resolve "
			"'/Engine/BasicShapes/Torus.Torus': no engine content '/Engine/BasicShapes/Torus'"},
		{"/Game/Maps/BadSettings",
			"Content/Maps/BadSettings.umap: WorldSettings: property 'DefaultGameMode': class /Script/Engine.Pawn is not a child of "
			"/Script/Engine.GameModeBase"},
		{"/Game/Maps/BadBlueprint",
			"Content/Maps/BadBlueprint.umap: Actors[0] (A): class '/Game/BP_Broken.BP_Broken_C': Content/BP_Broken.uasset: Variables[0] (X): "
			"unknown type 'quat'"},
		{"/Game/Maps/Missing", "no such map '/Game/Maps/Missing' (expected Content/Maps/Missing.umap)"},
		{"/Game/Maps/Bad.Name", "'/Game/Maps/Bad.Name' is not a valid package name: the name contains a character a package name cannot have"},
	};
	const size_t Objects = Host->GetObjects().NumObjects();
	for (const auto& [Map, Expected] : Cases)
	{
		std::string Error;
		EXPECT_FALSE(GEditor->LoadMap(Map, &Error)) << Map;
		EXPECT_EQ(Error, Expected);
		EXPECT_TRUE(Log.Has("LogEditorServer", std::string("Failed to load map ") + Map + ": " + Expected));
		ASSERT_TRUE(GEditor->GetEditorWorld());
		EXPECT_EQ(GEditor->GetEditorWorld()->GetMapName(), "Good");
	}
	Host->StepFrame();
	EXPECT_EQ(Host->GetObjects().NumObjects(), Objects);
	EXPECT_TRUE(FindActor(GEditor->GetEditorWorld(), "Spot"));
}

TEST(SimProjectLoading, ProjectFolderProblems)
{
	std::string Error;
	FSimHostOptions Options;
	Options.ProjectDir = "/nonexistent/tarnwick";
	EXPECT_FALSE(FSimHost::Create(Options, &Error));
	EXPECT_EQ(Error, "project folder '/nonexistent/tarnwick' does not exist");
	EXPECT_EQ(GEditor, nullptr);
	{
		FTempProject P;
		P.Write("Test.uproject", R"({"FileVersion": 3,)");
		Options.ProjectDir = P.Path();
		EXPECT_FALSE(FSimHost::Create(Options, &Error));
		EXPECT_EQ(Error,
			"Test.uproject: not valid JSON (parse error at line 1, column 19: syntax error while parsing object key - unexpected end of "
			"input; expected string literal)");
	}
	{
		FTempProject P;
		P.Write("Other.uproject", "{}");
		Options.ProjectDir = P.Path();
		EXPECT_FALSE(FSimHost::Create(Options, &Error));
		EXPECT_EQ(Error, "project folder '" + P.Path() + "' holds 2 .uproject files; it must hold exactly one");
	}
	{
		// A startup map that does not load is reported, and the editor opens an untitled map instead.
		FTempProject P;
		P.Write("Config/DefaultEngine.ini", "[/Script/EngineSettings.GameMapsSettings]\nEditorStartupMap=/Game/Maps/Broken\n");
		P.Write("Content/Maps/Broken.umap", "not json");
		FLogRecorder Log;
		auto Host = MakeHost(P.Path());
		ASSERT_TRUE(Host);
		EXPECT_EQ(GEditor->GetEditorWorld()->GetPathName(), "/Temp/Untitled_1.Untitled_1");
		EXPECT_TRUE(Log.Has("LogEditorServer", "Failed to load map /Game/Maps/Broken: Content/Maps/Broken.umap: not valid JSON"));
		EXPECT_TRUE(Log.Has("LogEditorServer", "Startup map /Game/Maps/Broken could not be opened"));
	}
	// Only one editor host at a time.
	auto First = MakeArenaHost();
	Options.ProjectDir = ArenaDir();
	EXPECT_FALSE(FSimHost::Create(Options, &Error));
	EXPECT_EQ(Error, "another editor host is already installed in this process");
}
