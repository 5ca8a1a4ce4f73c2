// A session's sampling against a real PIE world of the Arena on the simulated editor's virtual clock: the hero
// set walking, its AnimInstance variables, its health through the "gas" namespace and a blackboard through
// "ai" (actions this test registers in those namespaces, reading the live world), every root token, and
// expectations that pass and fail on what was sampled.
#include "Editor.h"
#include "FrameLoop.h"
#include "Printf.h"
#include "Sampling/SessionSampling.h"
#include "SimHost.h"
#include "TarnwickEngineUtils.h"
#include "TarnwickTestHelpers.h"
#include "Ticker.h"

#include <gtest/gtest.h>

#include <functional>

using namespace Tarnwick::Sampling;

namespace
{
UObject* ObjectProperty(const UObject* Object, const char* Name)
{
	FPropertyValue Value;
	const FProperty* P = Object->GetClass()->FindPropertyByName(Name);
	return P && Object->GetPropertyValue(*P, Value) ? Value.ObjectValue.Get() : nullptr;
}

void SetProperty(UObject* Object, const char* Name, const FPropertyValue& Value)
{
	std::string Error;
	const FProperty* P = Object->GetClass()->FindPropertyByName(Name);
	ASSERT_TRUE(P) << Name;
	ASSERT_TRUE(Object->SetPropertyValue(*P, Value, &Error)) << Error;
}

class SessionSamplingWorldTest : public Tarnwick::Test::FRegistryTest
{
protected:
	void SetUp() override
	{
		FRegistryTest::SetUp();
		FTSTicker::GetCoreTicker().Reset();
		Tarnwick::Sim::FSimHostOptions Options;
		Options.ProjectDir = TARNWICK_SOURCE_DIR "/Samples/Arena";
		Options.ClockMode = Tarnwick::Sim::ESimClockMode::Virtual;
		std::string Error;
		Host = Tarnwick::Sim::FSimHost::Create(Options, &Error);
		ASSERT_TRUE(Host) << Error;
		GEditor->RequestPlaySession(FRequestPlaySessionParams());
		ASSERT_TRUE(Host->StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 30));
		World = GEditor->GetPlayWorld();
		Hero = World->GetFirstPlayerController()->GetPawn();
		ASSERT_TRUE(Hero);
		Movement = ObjectProperty(Hero, "CharacterMovement");
		Anim = ObjectProperty(ObjectProperty(Hero, "Mesh"), "AnimScriptInstance");
		ASSERT_TRUE(Movement && Anim);
	}
	void TearDown() override
	{
		Host.reset();
		FTSTicker::GetCoreTicker().Reset();
		FRegistryTest::TearDown();
	}

	/** gas.get_attribute_value over the PIE world: the attribute is the actor's reflected float of that name. */
	static void RegisterGas()
	{
		FTarnwickToolRegistry::Get().RegisterAction("gas", "get_attribute_value", "Reads a gameplay attribute.",
			[](const FJsonPtr& Params) {
				AActor* Actor = Tarnwick::FindActorInPIE((*Params)["actor"].get<std::string>());
				const std::string Attribute = (*Params)["attribute"].get<std::string>();
				const FProperty* P = Actor ? Actor->GetClass()->FindPropertyByName(Attribute.substr(Attribute.rfind('.') + 1)) : nullptr;
				FPropertyValue V;
				if (!P || !Actor->GetPropertyValue(*P, V)) return FTarnwickActionResult::Error("attribute not found", -32603);
				return FTarnwickActionResult::Success({{"attribute", Attribute}, {"current_value", V.DoubleValue}, {"base_value", 100.0}});
			},
			MakeJsonObject(), "");
	}

	/** ai.runtime_get_all_bb_values over the PIE world: a blackboard that sees the crate once the hero is near. */
	static void RegisterBlackboard()
	{
		FTarnwickToolRegistry::Get().RegisterAction("ai", "runtime_get_all_bb_values", "Reads a blackboard.",
			[](const FJsonPtr& Params) {
				AActor* Actor = Tarnwick::FindActorInPIE((*Params)["actor"].get<std::string>());
				AActor* Crate = Tarnwick::FindActorInPIE("Crate_1");
				if (!Actor || !Crate) return FTarnwickActionResult::Error("no such actor", -32603);
				const FVector C = Crate->GetActorLocation();
				const bool bNear = Actor->GetActorLocation().X > -650.0;
				FJson Keys = FJson::array();
				Keys.push_back({{"name", "bHasTarget"}, {"type", "bool"}, {"value", bNear}});
				Keys.push_back({{"name", "TargetLocation"}, {"type", "vector"}, {"value", Tarnwick::Printf("X=%.3f Y=%.3f Z=%.3f", C.X, C.Y, C.Z)}});
				Keys.push_back({{"name", "TargetActor"}, {"type", "object"}, {"value", bNear ? Crate->GetName() : "None"},
					{"value_path", bNear ? Crate->GetPathName() : ""}});
				return FTarnwickActionResult::Success({{"keys", Keys}});
			},
			MakeJsonObject(), "");
	}

	/**
	 * Runs frames until the session time reaches Duration; OnPass runs before each pass's sampling. Session
	 * times are sums of 1/60 s frames, so they are compared with a nanosecond's slack.
	 */
	double Run(FSessionSampling& Sampling, double Duration, const std::function<void(double)>& OnPass, APawn* TargetPawn = nullptr, bool bPawn = true)
	{
		const double Start = World->GetTimeSeconds();
		double T = 0.0;
		while (true)
		{
			T = World->GetTimeSeconds() - Start;
			OnPass(T);
			Sampling.Tick(T, FSamplingWorld{World, bPawn ? (TargetPawn ? TargetPawn : Hero) : nullptr});
			Sampling.AppendRow(T, FApp::GetFrameCounter(), nullptr);
			if (T >= Duration - 1e-9) break;
			Host->StepFrame();
		}
		Sampling.Finish(T);
		return T;
	}

	std::unique_ptr<Tarnwick::Sim::FSimHost> Host;
	UWorld* World = nullptr;
	APawn* Hero = nullptr;
	UObject* Movement = nullptr;
	UObject* Anim = nullptr;
};

TEST_F(SessionSamplingWorldTest, SamplesTheWalkingHeroItsAnimationHealthAndBlackboardAndJudgesThem)
{
	RegisterGas();
	RegisterBlackboard();
	FSessionSampling Sampling;
	std::string Refusal;
	ASSERT_TRUE(Sampling.ParseSampleSpecs(FJson::parse(R"({
		"sample_vars": ["GroundSpeed", "bShouldMove"],
		"sample_spec": [
			{"name": "vel", "path": "CharacterMovement.Velocity"},
			{"name": "mode", "path": "CharacterMovement.MovementMode"},
			{"name": "health", "attribute": "USet.Health"},
			{"name": "has_target", "key": "bHasTarget"},
			{"name": "target_loc", "key": "TargetLocation"},
			{"name": "target", "key": "TargetActor"},
			{"name": "lamp_red", "root": "actor:lamp", "path": "LightComponent.LightColor.R"},
			{"name": "lamp_color", "root": "actor_class:PointLight", "path": "LightComponent.LightColor", "retain_json": true},
			{"name": "pawn_class", "root": "game_mode", "path": "DefaultPawnClass"},
			{"name": "score", "root": "player_state", "path": "Score"},
			{"name": "aim", "root": "controller", "path": "ControlRotation"}
		]})"),
		Refusal))
		<< Refusal;
	EXPECT_EQ(Sampling.GetSampleNames(),
		(std::vector<std::string>{"vel", "mode", "health", "has_target", "target_loc", "target", "lamp_red", "lamp_color", "pawn_class", "score", "aim",
			"GroundSpeed", "bShouldMove"}));
	Sampling.SetSettings(FSamplingSettings());
	std::vector<std::string> Unsatisfiable;
	ASSERT_TRUE(Sampling.ParseExpectations(FJson::parse(R"([
		{"id": "moves", "op": "gt", "var": "vel.len", "value": 250, "when": "ever"},
		{"id": "walking", "op": "eq", "var": "mode", "value": "move_walking"},
		{"id": "anim_follows", "op": "becomes_true_within", "var": "bShouldMove", "seconds": 1},
		{"id": "hurt", "op": "lt", "var": "health", "value": 100, "when": "final"},
		{"id": "base", "op": "eq", "var": "health.base", "value": 100},
		{"id": "sees_target_after_moving", "op": "before", "var": "bShouldMove", "other_var": "has_target"},
		{"id": "target_is_crate", "op": "contains", "var": "target", "value": "crate_1", "when": "final"},
		{"id": "lamp", "op": "eq", "var": "lamp_red", "value": 255},
		{"id": "hero_class", "op": "contains", "var": "pawn_class", "value": "BP_Hero_C"},
		{"id": "sprints", "op": "gt", "var": "vel.len", "value": 1000},
		{"id": "never_hurt", "op": "eq", "var": "health", "value": 100},
		{"id": "harness", "op": "no_error"}
	])"),
		3.0, Refusal, Unsatisfiable))
		<< Refusal;

	const double End = Run(Sampling, 3.0, [&](double T) {
		if (T >= 0.5 - 1e-9)
		{
			SetProperty(Movement, "Velocity", FPropertyValue::MakeVector(FVector(300, 0, 0)));
			SetProperty(Anim, "GroundSpeed", FPropertyValue::MakeFloat(300.0f));
			SetProperty(Anim, "bShouldMove", FPropertyValue::MakeBool(true));
		}
		if (T >= 2.0 - 1e-9) SetProperty(Hero, "Health", FPropertyValue::MakeFloat(60.0f));
	});
	EXPECT_NEAR(End, 3.0, 1e-6);
	EXPECT_GT(Hero->GetActorLocation().X, -800.0 + 300.0 * 2.4) << "the hero really walked";
	Sampling.Evaluate(1, End);

	FJson Report = FJson::object();
	Sampling.WriteVarSummary(Report);
	Sampling.WriteResolutionAndExpectations(Report);
	for (const FJson& R : Report["sample_resolution"]) EXPECT_EQ(R["state"], "resolved") << R.dump();
	EXPECT_TRUE(Sampling.SampleOk());
	const FJson& Summary = Report["var_summary"];
	EXPECT_EQ(Summary["vel"]["kind"], "vector");
	EXPECT_EQ(Summary["vel"]["len_max"], 300.0);
	EXPECT_EQ(Summary["mode"]["last"], "MOVE_Walking");
	EXPECT_EQ(Summary["GroundSpeed"]["max"], 300.0);
	EXPECT_NEAR(Summary["bShouldMove"]["true_seconds"].get<double>(), 2.5, 1e-6);
	EXPECT_EQ(Summary["health"]["min"], 60.0);
	EXPECT_EQ(Summary["target_loc"]["kind"], "vector");
	EXPECT_EQ(Summary["lamp_color"]["kind"], "json");
	EXPECT_EQ(Summary["aim"]["kind"], "rotator");
	EXPECT_EQ(Summary["score"]["last"], 0.0);
	EXPECT_EQ(Report["sample_resolution"][2]["read_ok"], 31) << "gas reads at 10 Hz over 3 s";
	EXPECT_EQ(Report["sample_resolution"][0]["read_ok"], 181) << "property reads on each of 181 passes";
	EXPECT_EQ(Report["samples_retained"], 181);

	std::map<std::string, FJson> ById;
	for (const FJson& R : Report["expectations"]) ById[R["id"].get<std::string>()] = R;
	for (const char* Id : {"moves", "walking", "anim_follows", "hurt", "base", "sees_target_after_moving", "target_is_crate", "lamp", "hero_class", "harness"})
	{
		EXPECT_EQ(ById[Id]["passed"], true) << ById[Id].dump();
	}
	EXPECT_NEAR(ById["anim_follows"]["decided_at"].get<double>(), 0.5, 1e-6);
	EXPECT_EQ(ById["sprints"]["passed"], false);
	EXPECT_EQ(ById["sprints"]["message"],
		"Expected 'vel.len > 1000' for EVERY sample in the session, but sample #0 at t=0.00s had vel.len = 0. Context: 181 samples, len min 0.000, max "
		"300.000, last 300.000.");
	EXPECT_EQ(ById["never_hurt"]["passed"], false);
	EXPECT_NEAR(ById["never_hurt"]["decided_at"].get<double>(), 2.0, 1e-6);
	EXPECT_EQ(ById["never_hurt"]["first_violation"]["actual"], 60.0);
	EXPECT_EQ(Report["expectations_summary"], FJson::parse(R"({"total": 12, "failed": 2, "warned": 0})"));
	EXPECT_EQ(Report["expectations_failed"], FJson::parse(R"(["sprints", "never_hurt"])"));
	EXPECT_FALSE(Sampling.ExpectationsOk());

	FJson Rows = FJson::object();
	Sampling.WriteSamples(Rows);
	const FJson& Last = Rows["samples"].back();
	EXPECT_EQ(Last["values"]["vel"], FJson::parse("[300.0, 0.0, 0.0]"));
	EXPECT_EQ(Last["values"]["mode"], "MOVE_Walking");
	EXPECT_EQ(Last["values"]["lamp_color"], FJson::parse(R"({"B": 170, "G": 214, "R": 255, "A": 255})"));
	EXPECT_EQ(Last["frame"], FApp::GetFrameCounter());
}

TEST_F(SessionSamplingWorldTest, RootsThatFailLatchOrEndWithTheirReasons)
{
	FSessionSampling Sampling;
	std::string Refusal;
	ASSERT_TRUE(Sampling.ParseSampleSpecs(FJson::parse(R"({"sample_spec": [
		{"name": "beacon", "root": "actor:Beacon", "path": "bHidden"},
		{"name": "typo", "source": "property", "path": "Helth"},
		{"name": "world", "root": "world", "path": "TimeDilation", "required": false},
		{"name": "lamp_anim", "source": "anim", "root": "actor:Lamp", "path": "GroundSpeed", "required": false},
		{"name": "lamp_color", "root": "actor:Lamp", "path": "LightComponent.LightColor", "required": false},
		{"name": "crate", "root": "actor:Crate_1", "path": "StaticMeshComponent.Mobility"},
		{"name": "clock", "root": "game_state", "path": "ReplicatedWorldTimeSecondsDouble"},
		{"name": "player", "root": "player_pawn", "path": "Health"},
		{"name": "cursor", "root": "PC", "path": "bShowMouseCursor"},
		{"name": "hp", "attribute": "USet.Health", "required": false},
		{"name": "none_hop", "root": "player_state", "path": "Owner.Score", "required": false}
	]})"),
		Refusal))
		<< Refusal;
	FSamplingSettings Settings;
	Settings.ResolveGraceSeconds = 2.0;
	Sampling.SetSettings(Settings);
	std::vector<std::string> Unsatisfiable;
	ASSERT_TRUE(Sampling.ParseExpectations(FJson::parse(R"([
		{"id": "beacon_visible", "op": "eq", "var": "beacon", "value": false},
		{"id": "typo_fails", "op": "gt", "var": "typo", "value": 0},
		{"id": "hp_fails", "op": "gt", "var": "hp", "value": 0},
		{"id": "harness", "op": "no_error"}
	])"),
		3.0, Refusal, Unsatisfiable))
		<< Refusal;

	UClass* TargetPoint = Tarnwick::Host::GetObjectSystem()->LoadClass("/Script/Engine.TargetPoint", nullptr);
	ASSERT_TRUE(TargetPoint);
	bool bSpawned = false;
	bool bDestroyed = false;
	const double End = Run(Sampling, 3.0, [&](double T) {
		if (T >= 1.0 - 1e-9 && !bSpawned)
		{
			FActorSpawnParameters P;
			P.Label = "Beacon";
			std::string Error;
			ASSERT_TRUE(World->SpawnActor(TargetPoint, P, &Error)) << Error;
			bSpawned = true;
		}
		if (T >= 1.5 - 1e-9 && !bDestroyed)
		{
			ASSERT_TRUE(World->DestroyActor(Tarnwick::FindActorInWorld(World, "Crate_1")));
			bDestroyed = true;
		}
	});
	Sampling.Evaluate(1, End);
	FJson Report = FJson::object();
	Sampling.WriteResolutionAndExpectations(Report);
	std::map<std::string, FJson> R;
	for (const FJson& Entry : Report["sample_resolution"]) R[Entry["name"].get<std::string>()] = Entry;

	EXPECT_EQ(R["beacon"]["state"], "resolved") << "an actor spawned within the grace resolves";
	EXPECT_NEAR(R["beacon"]["first_read_t"].get<double>(), 1.0, 0.02);
	EXPECT_FALSE(R["beacon"].contains("reason"));
	EXPECT_EQ(R["typo"]["state"], "unresolved");
	EXPECT_EQ(R["typo"]["reason"], "property 'Helth' not found on BP_Hero_C");
	EXPECT_EQ(R["typo"]["read_fail"], 121) << "not retried after the grace";
	EXPECT_TRUE(R["world"]["reason"].get<std::string>().starts_with("unknown root token 'world' — expected pawn|anim|"));
	EXPECT_EQ(R["lamp_anim"]["reason"], "'Lamp' has no AnimInstance");
	EXPECT_TRUE(R["lamp_color"]["reason"].get<std::string>().starts_with("unsupported property type StructProperty — set retain_json:true"));
	EXPECT_EQ(R["crate"]["state"], "resolved");
	EXPECT_EQ(R["crate"]["reason"], "root_destroyed");
	EXPECT_EQ(R["crate"]["error"], "root 'Crate_1' was destroyed at t=1.50s");
	EXPECT_EQ(R["clock"]["state"], "resolved");
	EXPECT_EQ(R["player"]["state"], "resolved");
	EXPECT_EQ(R["cursor"]["kind"], "bool");
	EXPECT_EQ(R["hp"]["reason"], "gas dispatch failed");
	EXPECT_TRUE(R["hp"]["error"].get<std::string>().starts_with("gas.get_attribute_value: ")) << R["hp"].dump();
	EXPECT_EQ(R["hp"]["dispatch_fail"], 21) << "10 Hz until the grace ran out";
	EXPECT_EQ(R["none_hop"]["reason"], "property 'Owner' not found on PlayerState");
	EXPECT_FALSE(Sampling.SampleOk()) << "the misspelled required spec";

	std::map<std::string, FJson> E;
	for (const FJson& Entry : Report["expectations"]) E[Entry["id"].get<std::string>()] = Entry;
	EXPECT_EQ(E["beacon_visible"]["passed"], true);
	EXPECT_EQ(E["typo_fails"]["reason"], "unresolved_var");
	EXPECT_EQ(E["typo_fails"]["message"], "Expected 'typo > 0', but var 'typo' never resolved: property 'Helth' not found on BP_Hero_C");
	EXPECT_EQ(E["hp_fails"]["reason"], "dispatch_failed");
	EXPECT_EQ(E["hp_fails"]["message"], "Expected 'hp > 0', but var 'hp' never resolved: gas dispatch failed");
	EXPECT_EQ(E["harness"]["message"], "Expected no harness error, but status=1, unresolved required specs=typo, dispatch failures=21.");
}

TEST_F(SessionSamplingWorldTest, PawnRootsWaitForTheTargetPawn)
{
	FSessionSampling Sampling;
	std::string Refusal;
	ASSERT_TRUE(Sampling.ParseSampleSpecs(FJson::object(), Refusal));
	Sampling.SetSettings(FSamplingSettings());
	Sampling.Tick(0.0, FSamplingWorld{World, nullptr});
	Sampling.Tick(0.1, FSamplingWorld{World, Hero});
	Sampling.Finish(0.1);
	FJson Report = FJson::object();
	Sampling.WriteResolutionAndExpectations(Report);
	ASSERT_EQ(Report["sample_resolution"].size(), 3u) << "the three default AnimInstance variables";
	EXPECT_EQ(Report["sample_resolution"][0]["state"], "resolved");
	EXPECT_EQ(Report["sample_resolution"][0]["read_fail"], 1);
	EXPECT_EQ(Report["sample_resolution"][0]["required"], false);
	EXPECT_EQ(Report["sample_resolution"][2]["kind"], "number");
	EXPECT_TRUE(Sampling.SampleOk());
	EXPECT_TRUE(Sampling.ExpectationsOk()) << "no expectations, nothing to fail";

	FSessionSampling NoPawn;
	ASSERT_TRUE(NoPawn.ParseSampleSpecs(FJson::parse(R"({"sample_spec": [{"path": "Health", "root": "pawn"}]})"), Refusal));
	FSamplingSettings Settings;
	Settings.ResolveGraceSeconds = 0.0;
	NoPawn.SetSettings(Settings);
	NoPawn.Tick(0.0, FSamplingWorld{World, nullptr});
	FJson NoPawnReport = FJson::object();
	NoPawn.WriteResolutionAndExpectations(NoPawnReport);
	EXPECT_EQ(NoPawnReport["sample_resolution"][0]["reason"], "no target pawn resolved yet");
	EXPECT_EQ(NoPawnReport["sample_resolution"][0]["state"], "unresolved");
}
}
