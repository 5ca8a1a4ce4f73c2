#include "TarnwickTestHelpers.h"

#include "Editor.h"
#include "SimHost.h"
#include "TarnwickEngineUtils.h"
#include "UObjectGlobals.h"
#include "World.h"

namespace
{
std::unique_ptr<Tarnwick::Sim::FSimHost> MakeArena()
{
	Tarnwick::Sim::FSimHostOptions Options;
	Options.ProjectDir = std::string(TARNWICK_SOURCE_DIR) + "/Samples/Arena";
	Options.ClockMode = Tarnwick::Sim::ESimClockMode::Virtual;
	Options.VirtualUtcStart = 1'700'000'000.0;
	std::string Error;
	auto Host = Tarnwick::Sim::FSimHost::Create(Options, &Error);
	EXPECT_TRUE(Host) << Error;
	return Host;
}
}

class EngineUtilsTest : public ::testing::Test
{
protected:
	void SetUp() override { Host = MakeArena(); ASSERT_TRUE(Host); }
	void TearDown() override { Host.reset(); }
	std::unique_ptr<Tarnwick::Sim::FSimHost> Host;
};

TEST_F(EngineUtilsTest, WorldsAndActorsByLabelOrName)
{
	UWorld* Editor = TarnwickParamUtils::GetEditorWorld();
	ASSERT_TRUE(Editor);
	EXPECT_EQ(Editor->GetWorldType(), EWorldType::Editor);
	EXPECT_FALSE(Tarnwick::GetPIEWorld());
	EXPECT_FALSE(Tarnwick::FindActorInPIE("Sun")) << "no PIE, no actor";

	AActor* Sun = Tarnwick::FindActorInWorld(Editor, "sun");
	ASSERT_TRUE(Sun) << "labels compare without regard to case";
	EXPECT_EQ(Sun->GetName(), "DirectionalLight_0");
	EXPECT_EQ(Tarnwick::FindActorInWorld(Editor, "DirectionalLight_0"), Sun) << "the object name works too";
	EXPECT_FALSE(Tarnwick::FindActorInWorld(Editor, "Nobody"));

	GEditor->RequestPlaySession({});
	std::string Error;
	ASSERT_TRUE(GEditor->StartQueuedPlaySessionRequest(&Error)) << Error;
	UWorld* Pie = Tarnwick::GetPIEWorld();
	ASSERT_TRUE(Pie);
	EXPECT_EQ(Pie->GetWorldType(), EWorldType::PIE);
	AActor* PieSun = Tarnwick::FindActorInPIE("Sun");
	ASSERT_TRUE(PieSun);
	EXPECT_NE(PieSun, Sun) << "the PIE world holds its own copies";

	GEditor->RequestEndPlayMap();
	Host->StepFrames(3);
	EXPECT_FALSE(Tarnwick::GetPIEWorld());
}

TEST_F(EngineUtilsTest, AssetsLoadByObjectOrPackagePathAndCheckTheirClass)
{
	std::string Error;
	UObject* Hero = FTarnwickAssetUtils::LoadAssetByPath("/Game/Blueprints/BP_Hero", nullptr, &Error);
	ASSERT_TRUE(Hero) << Error;
	EXPECT_EQ(FTarnwickAssetUtils::LoadAssetByPath("/Game/Blueprints/BP_Hero.BP_Hero"), Hero);
	EXPECT_FALSE(FTarnwickAssetUtils::LoadAssetByPath("/Game/Blueprints/Missing", nullptr, &Error));
	EXPECT_FALSE(Error.empty());

	UClass* WorldClass = Tarnwick::Host::GetObjectSystem()->LoadClass("/Script/Engine.World", &Error);
	ASSERT_TRUE(WorldClass) << Error;
	EXPECT_FALSE(FTarnwickAssetUtils::LoadAssetByPath("/Game/Blueprints/BP_Hero", WorldClass, &Error));
	EXPECT_NE(Error.find("not a World"), std::string::npos) << Error;

	UObject* Out = nullptr;
	FTarnwickActionResult Result;
	EXPECT_FALSE(Tarnwick::Diagnostics::ResolveAssetPath(MakeJsonObject(FJson{{"asset_path", "/Game/Nope"}}), "asset_path", Out, Result));
	EXPECT_EQ(Result.ErrorCode, -32602);
	EXPECT_FALSE(Tarnwick::Diagnostics::ResolveAssetPath(nullptr, "asset_path", Out, Result));
	EXPECT_EQ(Result.ErrorMessage, "Missing required parameter 'asset_path'");
}

TEST_F(EngineUtilsTest, PropertyPathsWalkComponentsAndStructs)
{
	AActor* Lamp = Tarnwick::FindActorInWorld(TarnwickParamUtils::GetEditorWorld(), "Lamp");
	ASSERT_TRUE(Lamp);
	Tarnwick::PropertyPath::FResolvedPath Resolved;
	std::string Error;
	ASSERT_TRUE(Tarnwick::PropertyPath::ResolveValuePtr(Lamp, "LightComponent0.Intensity", Resolved, Error)) << Error;
	EXPECT_DOUBLE_EQ(Resolved.Value.get<double>(), 8000.0);
	ASSERT_TRUE(Tarnwick::PropertyPath::ResolveValuePtr(Lamp, "LightComponent0.LightColor.G", Resolved, Error)) << Error;
	EXPECT_EQ(Resolved.Value, 214);
	EXPECT_FALSE(Tarnwick::PropertyPath::ResolveValuePtr(Lamp, "LightComponent0.Nope", Resolved, Error));
	EXPECT_NE(Error.find("'Nope' not found"), std::string::npos) << Error;
	EXPECT_FALSE(Tarnwick::PropertyPath::ResolveValuePtr(Lamp, "bHidden.X", Resolved, Error));
	EXPECT_FALSE(Tarnwick::PropertyPath::ResolveValuePtr(nullptr, "bHidden", Resolved, Error));
	EXPECT_EQ(Error, "null property or value pointer");
}

TEST_F(EngineUtilsTest, BulkWritesAreAllOrNothingWhenStrict)
{
	AActor* Lamp = Tarnwick::FindActorInWorld(TarnwickParamUtils::GetEditorWorld(), "Lamp");
	UActorComponent* Light = Lamp->GetComponents().size() > 1 ? nullptr : nullptr;
	for (UActorComponent* C : Lamp->GetComponents())
	{
		if (C->GetName() == "LightComponent0") Light = C;
	}
	ASSERT_TRUE(Light);
	using namespace Tarnwick::PropertyWriter;
	FBulkWriteResult R = WritePropertiesObject(Light, FJson{{"Intensity", 100}, {"CastShadows", "yes"}}, FWriteOptions{true});
	EXPECT_TRUE(R.bAborted);
	ASSERT_EQ(R.Failed.size(), 1u);
	EXPECT_EQ(R.Failed[0].Field, "CastShadows");
	EXPECT_EQ(FTarnwickReflectionReader::ReadProperty(*Light, *Light->GetClass()->FindPropertyByName("Intensity")), 8000.0)
		<< "a strict write that fails changes nothing";

	R = WritePropertiesObject(Light, FJson{{"Intensity", 100}, {"CastShadows", "yes"}, {"Missing", 1}}, FWriteOptions{false});
	EXPECT_EQ(R.Written, std::vector<std::string>{"Intensity"});
	EXPECT_EQ(R.ToJson(false)["failed_count"], 2);
	EXPECT_EQ(FTarnwickReflectionReader::ReadProperty(*Light, *Light->GetClass()->FindPropertyByName("Intensity")), 100.0);

	R = WritePropertiesObject(Light, FJson{{"LightColor", {{"R", 1}, {"G", 2}, {"B", 3}, {"A", 4}}}}, FWriteOptions{});
	EXPECT_TRUE(R.IsSuccess()) << R.ToJson(true).dump();
	EXPECT_EQ(FTarnwickReflectionReader::ReadProperty(*Light, *Light->GetClass()->FindPropertyByName("LightColor"))["G"], 2);
}
