// The event graph grammar: what parses, and every error naming its entry; the same errors from a Blueprint and
// from a map's actor name the file; blackboard and DataAsset documents.
#include "SimEventGraph.h"
#include "SimProjectFormat.h"
#include "SimTestUtils.h"

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

namespace
{
std::string GraphError(const char* Text)
{
	std::string Error;
	EXPECT_FALSE(ParseEventGraph(FSimJson::parse(Text), &Error)) << Text;
	return Error;
}
}

TEST(SimEventGraphGrammar, EveryEventAndActionParses)
{
	std::string Error;
	const auto Graph = ParseEventGraph(FSimJson::parse(R"([
		{"Event": "BeginPlay", "Actions": [{"Action": "Log", "Category": "LogArena", "Verbosity": "warning", "Text": "hi"}]},
		{"Event": "Delay", "Seconds": 1.5, "Actions": [{"Action": "SpawnActor", "Class": "/Game/Blueprints/BP_HealthPickup", "Location": [1, 2, 3]}]},
		{"Event": "Timer", "Seconds": 2, "Actions": [{"Action": "DestroyActor", "Target": "Crate_1", "Delay": 0.5}]},
		{"Event": "OnReached", "Actor": "TP_A", "Radius": 60, "Who": "Player", "Actions": [
			{"Action": "AIMoveTo", "Actor": "TP_B", "AcceptanceRadius": 20},
			{"Action": "SetProperty", "Component": "CharMoveComp", "Property": "MaxWalkSpeed", "Value": 200},
			{"Action": "ApplyGameplayEffect", "Attribute": "USet.Health", "Operation": "Multiply", "Magnitude": 0.5, "Duration": "Infinite"},
			{"Action": "ApplyGameplayEffect", "Attribute": "USet.Health", "Magnitude": -1, "Duration": 3, "Period": 0.25},
			{"Action": "SetBlackboardValue", "Key": "State", "Value": "Idle"},
			{"Action": "RuntimeError", "Property": "Target"}]}
	])"),
		&Error);
	ASSERT_TRUE(Graph) << Error;
	ASSERT_EQ(Graph->Events.size(), 4u);
	EXPECT_EQ(Graph->Events[0].Actions[0].Verbosity, ELogVerbosity::Warning);
	EXPECT_EQ(Graph->Events[1].Actions[0].Location, FVector(1, 2, 3));
	EXPECT_EQ(Graph->Events[2].Actions[0].Delay, 0.5);
	const FSimGraphEvent& Reached = Graph->Events[3];
	EXPECT_EQ(Reached.Who, "Player");
	EXPECT_FALSE(Reached.bHasLocation);
	EXPECT_EQ(Reached.Actions[2].Effect.Op, ESimEffectOp::Multiply);
	EXPECT_EQ(Reached.Actions[2].Effect.Duration, ESimEffectDuration::Infinite);
	EXPECT_EQ(Reached.Actions[3].Effect.Duration, ESimEffectDuration::HasDuration);
	EXPECT_EQ(Reached.Actions[3].Effect.Period, 0.25);
	EXPECT_EQ(Reached.Actions[5].Node, "Get Target") << "the node defaults to reading the property";
	EXPECT_EQ(Reached.Actions[0].Target, "Self");
}

TEST(SimEventGraphGrammar, ErrorsNameTheEntry)
{
	EXPECT_EQ(GraphError(R"({"Event": "BeginPlay"})"), "\"EventGraph\" must be an array of events");
	EXPECT_EQ(GraphError(R"([{"Event": "OnTick", "Actions": []}])"),
		"EventGraph[0]: unknown event \"OnTick\" (expected BeginPlay, Delay, Timer or OnReached)");
	EXPECT_EQ(GraphError(R"([{"Actions": []}])"), "EventGraph[0]: \"Event\" is missing");
	EXPECT_EQ(GraphError(R"([{"Event": "BeginPlay", "Actions": []}])"), "EventGraph[0] (BeginPlay): \"Actions\" must be a non-empty array");
	EXPECT_EQ(GraphError(R"([{"Event": "Delay", "Actions": [{"Action": "DestroyActor"}]}])"), "EventGraph[0] (Delay): \"Seconds\" is missing");
	EXPECT_EQ(GraphError(R"([{"Event": "Timer", "Seconds": 0, "Actions": [{"Action": "DestroyActor"}]}])"),
		"EventGraph[0] (Timer): \"Seconds\" must be a number above 0");
	EXPECT_EQ(GraphError(R"([{"Event": "BeginPlay", "Seconds": 2, "Actions": [{"Action": "DestroyActor"}]}])"),
		"EventGraph[0] (BeginPlay): unknown key \"Seconds\"");
	EXPECT_EQ(GraphError(R"([{"Event": "OnReached", "Actions": [{"Action": "DestroyActor"}]}])"),
		"EventGraph[0] (OnReached): give either \"Location\" or \"Actor\" to reach");
	EXPECT_EQ(GraphError(R"([{"Event": "BeginPlay", "Actions": [{"Action": "DestroyActor"}, {"Action": "Fly"}]}])"),
		"EventGraph[0].Actions[1]: unknown action \"Fly\" (expected Log, SetProperty, SpawnActor, DestroyActor, AIMoveTo, ApplyGameplayEffect, "
		"SetBlackboardValue or RuntimeError)");
	EXPECT_EQ(GraphError(R"([{"Event": "BeginPlay", "Actions": [{"Action": "Log", "Category": "LogA", "Txt": "x"}]}])"),
		"EventGraph[0].Actions[0] (Log): unknown key \"Txt\"");
	EXPECT_EQ(GraphError(R"([{"Event": "BeginPlay", "Actions": [{"Action": "Log", "Category": "LogA", "Text": "x", "Verbosity": "Fatal"}]}])"),
		"EventGraph[0].Actions[0] (Log): unknown \"Verbosity\" \"Fatal\" (expected Error, Warning, Display, Log, Verbose or VeryVerbose)");
	EXPECT_EQ(GraphError(R"([{"Event": "BeginPlay", "Actions": [{"Action": "AIMoveTo", "Location": [0,0,0], "Actor": "A"}]}])"),
		"EventGraph[0].Actions[0] (AIMoveTo): give either \"Location\" or \"Actor\" as the goal");
	EXPECT_EQ(GraphError(R"([{"Event": "BeginPlay", "Actions": [{"Action": "ApplyGameplayEffect", "Attribute": "Health", "Magnitude": 1}]}])"),
		"EventGraph[0].Actions[0] (ApplyGameplayEffect): \"Attribute\" must be <AttributeSet>.<Attribute>, such as \"USet.Health\", not \"Health\"");
	EXPECT_EQ(GraphError(R"([{"Event": "BeginPlay", "Actions": [{"Action": "ApplyGameplayEffect", "Attribute": "S.H", "Magnitude": 1, "Period": 1}]}])"),
		"EventGraph[0].Actions[0] (ApplyGameplayEffect): \"Period\" needs a \"Duration\" (a number of seconds or \"Infinite\"): an instant effect "
		"happens once");
	EXPECT_EQ(GraphError(R"([{"Event": "BeginPlay", "Actions": [{"Action": "SetBlackboardValue", "Key": "K"}]}])"),
		"EventGraph[0].Actions[0] (SetBlackboardValue): \"Value\" is missing");
	EXPECT_EQ(GraphError(R"([{"Event": "BeginPlay", "Actions": [{"Action": "DestroyActor", "Delay": -1}]}])"),
		"EventGraph[0].Actions[0] (DestroyActor): \"Delay\" must be a number above 0");
}

TEST(SimEventGraphGrammar, BlueprintAndMapErrorsNameTheFileAndEntry)
{
	FTempProject P;
	P.Write("Content/BP_Bad.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor",
		"EventGraph":[{"Event":"OnTick","Actions":[{"Action":"DestroyActor"}]}]})");
	P.Write("Content/BP_Data.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.PrimaryDataAsset",
		"EventGraph":[{"Event":"BeginPlay","Actions":[{"Action":"DestroyActor"}]}]})");
	P.Write("Content/BP_NoAsc.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","AttributeSets":{"USet":{"Health":1}}})");
	P.Write("Content/Maps/Bad.umap", R"({"Type":"World","Actors":[{"Name":"A","Class":"/Script/Engine.TargetPoint",
		"EventGraph":[{"Event":"BeginPlay","Actions":[{"Action":"Jump"}]}]}]})");
	P.Write("Content/Maps/NoAsc.umap", R"({"Type":"World","Actors":[{"Name":"A","Class":"/Script/Engine.TargetPoint",
		"AttributeSets":{"USet":{"Health":1}}}]})");
	auto Host = MakeHost(P.Path());
	std::string Error;
	EXPECT_FALSE(Tarnwick::Host::GetObjectSystem()->LoadClass("/Game/BP_Bad.BP_Bad_C", &Error));
	EXPECT_EQ(Error, "Content/BP_Bad.uasset: EventGraph[0]: unknown event \"OnTick\" (expected BeginPlay, Delay, Timer or OnReached)");
	EXPECT_FALSE(Tarnwick::Host::GetObjectSystem()->LoadClass("/Game/BP_Data.BP_Data_C", &Error));
	EXPECT_EQ(Error, "Content/BP_Data.uasset: EventGraph: only actor Blueprints run an event graph");
	EXPECT_FALSE(Tarnwick::Host::GetObjectSystem()->LoadClass("/Game/BP_NoAsc.BP_NoAsc_C", &Error));
	EXPECT_EQ(Error, "Content/BP_NoAsc.uasset: AttributeSets: BP_NoAsc_C has no AbilitySystemComponent to hold them (add one under \"Components\")");
	EXPECT_FALSE(GEditor->LoadMap("/Game/Maps/Bad", &Error));
	EXPECT_EQ(Error, "Content/Maps/Bad.umap: Actors[0] (A): EventGraph[0].Actions[0]: unknown action \"Jump\" (expected Log, SetProperty, "
					 "SpawnActor, DestroyActor, AIMoveTo, ApplyGameplayEffect, SetBlackboardValue or RuntimeError)");
	EXPECT_FALSE(GEditor->LoadMap("/Game/Maps/NoAsc", &Error));
	EXPECT_EQ(Error, "Content/Maps/NoAsc.umap: Actors[0] (A): AttributeSets: /Script/Engine.TargetPoint has no AbilitySystemComponent to hold them");
}

TEST(SimAssetDocuments, BlackboardDataAndDataAssetShapes)
{
	std::string Error;
	const auto BB = ParseAssetDocument(R"({"Type":"BlackboardData","Keys":[{"Name":"Where","Type":"vector"},
		{"Name":"Mood","Type":"Enum","Values":["Calm","Angry"]}]})",
		"BB.uasset", &Error);
	ASSERT_TRUE(BB) << Error;
	ASSERT_EQ(BB->BlackboardKeys.size(), 2u);
	EXPECT_EQ(BB->BlackboardKeys[0].Type, EBlackboardKeyType::Vector);
	EXPECT_EQ(BB->BlackboardKeys[1].EnumValues, (std::vector<std::string>{"Calm", "Angry"}));
	const std::pair<const char*, const char*> Bad[] = {
		{R"({"Type":"BlackboardData"})", "BB.uasset: \"Keys\" must be an array of {\"Name\", \"Type\"}"},
		{R"({"Type":"BlackboardData","Keys":[{"Name":"A","Type":"Quat"}]})",
			"BB.uasset: Keys[0] (A): unknown key \"Type\" \"Quat\" (expected Float, Int, Enum, Bool, String, Name, Vector, Rotator or Object)"},
		{R"({"Type":"BlackboardData","Keys":[{"Name":"A","Type":"Enum"}]})",
			"BB.uasset: Keys[0] (A): an Enum key needs \"Values\": an array of 1 to 255 value names"},
		{R"({"Type":"BlackboardData","Keys":[{"Name":"A","Type":"Int","Values":["x"]}]})", "BB.uasset: Keys[0] (A): only Enum keys have \"Values\""},
		{R"({"Type":"BlackboardData","Keys":[{"Name":"A","Type":"Int"},{"Name":"A","Type":"Bool"}]})",
			"BB.uasset: Keys[1] (A): an earlier key has the same name"},
		{R"({"Type":"DataAsset","Properties":{}})", "BB.uasset: \"Class\" is missing"},
		{R"({"Type":"DataAsset","Class":"/Script/Engine.DataAsset","Extra":1})", "BB.uasset: unknown key \"Extra\""},
	};
	for (const auto& [Text, Expected] : Bad)
	{
		EXPECT_FALSE(ParseAssetDocument(Text, "BB.uasset", &Error)) << Text;
		EXPECT_EQ(Error, Expected);
	}
}

TEST(SimAssetDocuments, ADataAssetMustBeOfADataAssetClass)
{
	FTempProject P;
	P.Write("Content/DA_Actor.uasset", R"({"Type":"DataAsset","Class":"/Script/Engine.Actor"})");
	P.Write("Content/DA_BadProp.uasset", R"({"Type":"DataAsset","Class":"/Script/Engine.PrimaryDataAsset","Properties":{"Speed":1}})");
	P.Write("Content/DA_Plain.uasset", R"({"Type":"DataAsset","Class":"/Script/Engine.DataAsset"})");
	auto Host = MakeHost(P.Path());
	std::string Error;
	EXPECT_FALSE(Tarnwick::Host::GetObjectSystem()->LoadObject("/Game/DA_Actor", &Error));
	EXPECT_EQ(Error, "Content/DA_Actor.uasset: Class /Script/Engine.Actor is not a DataAsset class (it must derive from /Script/Engine.DataAsset)");
	EXPECT_FALSE(Tarnwick::Host::GetObjectSystem()->LoadObject("/Game/DA_BadProp", &Error));
	EXPECT_EQ(Error, "Content/DA_BadProp.uasset: Properties: class /Script/Engine.PrimaryDataAsset has no property 'Speed'");
	EXPECT_TRUE(Tarnwick::Host::GetObjectSystem()->LoadObject("/Game/DA_Plain.DA_Plain", &Error)) << Error;
}
