// A session's sampling against a real PIE world of the Arena on the simulated editor's virtual clock, with the
// gameplay module's "pie", "ai" and "gas" namespaces behind ExecuteAction as the executable has them: the hero
// walking under a held W, its AnimInstance variables, its gameplay attribute burning down at the fire pit, the
// enemy's patrol seen through its blackboard, every root token, and expectations that pass and fail on what
// was sampled.
#include "Editor.h"
#include "FrameLoop.h"
#include "Sampling/SessionSampling.h"
#include "SimHost.h"
#include "TarnwickEngineUtils.h"
#include "TarnwickGameplayModuleScope.h"
#include "TarnwickTestHelpers.h"
#include "Ticker.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

using namespace Tarnwick::Sampling;

namespace
{
class SessionSamplingWorldTest : public Tarnwick::Test::FRegistryTest
{
protected:
	void SetUp() override
	{
		FRegistryTest::SetUp();
		FTSTicker::GetCoreTicker().Reset();
		Gameplay = std::make_unique<Tarnwick::Test::FGameplayModuleScope>();
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
	}
	void TearDown() override
	{
		Host.reset();
		Gameplay.reset();
		FTSTicker::GetCoreTicker().Reset();
		FRegistryTest::TearDown();
	}

	/** Input as a session's input events give it: through the "pie" namespace into the PIE viewport. */
	static void Key(const char* Action, const char* Key)
	{
		const FTarnwickActionResult R = FTarnwickToolRegistry::Get().ExecuteAction("pie", Action, MakeJsonObject(FJson{{"key", Key}}));
		ASSERT_TRUE(R.bSuccess) << Action << " " << Key << ": " << R.ErrorMessage;
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

	std::unique_ptr<Tarnwick::Test::FGameplayModuleScope> Gameplay;
	std::unique_ptr<Tarnwick::Sim::FSimHost> Host;
	UWorld* World = nullptr;
	APawn* Hero = nullptr;
};

TEST_F(SessionSamplingWorldTest, SamplesTheWalkingHeroItsHealthAndTheEnemysBlackboardAndJudgesThem)
{
	FSessionSampling Sampling;
	std::string Refusal;
	ASSERT_TRUE(Sampling.ParseSampleSpecs(FJson::parse(R"({
		"sample_vars": ["GroundSpeed", "bShouldMove"],
		"sample_spec": [
			{"name": "vel", "path": "CharacterMovement.Velocity"},
			{"name": "mode", "path": "CharacterMovement.MovementMode"},
			{"name": "health", "attribute": "USet.Health"},
			{"name": "reached", "root": "actor:Enemy", "key": "bHasReachedTarget"},
			{"name": "state", "root": "actor:Enemy", "key": "State"},
			{"name": "patrol_index", "root": "actor:Enemy", "key": "PatrolIndex"},
			{"name": "target_loc", "root": "actor:Enemy", "key": "TargetLocation"},
			{"name": "target", "root": "actor:Enemy", "key": "TargetActor"},
			{"name": "lamp_red", "root": "actor:lamp", "path": "LightComponent.LightColor.R"},
			{"name": "lamp_color", "root": "actor_class:PointLight", "path": "LightComponent.LightColor", "retain_json": true},
			{"name": "pawn_class", "root": "game_mode", "path": "DefaultPawnClass"},
			{"name": "score", "root": "player_state", "path": "Score"},
			{"name": "aim", "root": "controller", "path": "ControlRotation"}
		]})"),
		Refusal))
		<< Refusal;
	Sampling.SetSettings(FSamplingSettings());
	std::vector<std::string> Unsatisfiable;
	ASSERT_TRUE(Sampling.ParseExpectations(FJson::parse(R"([
		{"id": "walks", "op": "gte", "var": "vel.len", "value": 500, "when": "ever"},
		{"id": "brakes", "op": "eq", "var": "vel.len", "value": 0, "when": "final"},
		{"id": "walking", "op": "eq", "var": "mode", "value": "move_walking"},
		{"id": "anim_follows", "op": "becomes_true_within", "var": "bShouldMove", "seconds": 1},
		{"id": "burnt", "op": "eq", "var": "health", "value": 80, "when": "final"},
		{"id": "burnt_base", "op": "eq", "var": "health.base", "value": 80, "when": "final"},
		{"id": "only_down", "op": "monotonic", "var": "health", "direction": "decreasing"},
		{"id": "walks_then_burns", "op": "before", "var": "bShouldMove", "other_var": "health", "other_event": "change"},
		{"id": "enemy_arrives", "op": "becomes_true_within", "var": "reached", "seconds": 5},
		{"id": "at_target", "op": "eq", "var": "state", "value": 2, "when": "ever"},
		{"id": "heads_for_b", "op": "contains", "var": "target", "value": "TP_PatrolB", "when": "initial"},
		{"id": "b_is_south", "op": "eq", "var": "target_loc.y", "value": -600, "when": "initial"},
		{"id": "turns_back_a_second_later", "op": "before", "var": "reached", "other_var": "patrol_index", "other_event": "change",
			"min_gap": 0.9, "max_gap": 1.2},
		{"id": "lamp", "op": "eq", "var": "lamp_red", "value": 255},
		{"id": "hero_class", "op": "contains", "var": "pawn_class", "value": "BP_Hero_C"},
		{"id": "sprints", "op": "gt", "var": "vel.len", "value": 1000},
		{"id": "never_hurt", "op": "eq", "var": "health", "value": 100},
		{"id": "harness", "op": "no_error"}
	])"),
		6.0, Refusal, Unsatisfiable))
		<< Refusal;

	bool bDown = false;
	bool bUp = false;
	const double End = Run(Sampling, 6.0, [&](double T) {
		if (T >= 0.5 - 1e-9 && !bDown)
		{
			Key("key_down", "W");
			bDown = true;
		}
		if (T >= 2.0 - 1e-9 && !bUp)
		{
			Key("key_up", "W");
			bUp = true;
		}
	});
	EXPECT_NEAR(End, 6.0, 1e-6);
	EXPECT_GT(Hero->GetActorLocation().X, -450.0) << "the hero walked through the fire pit";
	Sampling.Evaluate(1, End);

	FJson Report = FJson::object();
	Sampling.WriteVarSummary(Report);
	Sampling.WriteResolutionAndExpectations(Report);
	for (const FJson& R : Report["sample_resolution"]) EXPECT_EQ(R["state"], "resolved") << R.dump();
	EXPECT_TRUE(Sampling.SampleOk());
	const FJson& Summary = Report["var_summary"];
	EXPECT_EQ(Summary["vel"]["kind"], "vector");
	EXPECT_NEAR(Summary["vel"]["len_max"].get<double>(), 500.0, 1e-9) << "held to the hero's MaxWalkSpeed";
	EXPECT_EQ(Summary["mode"]["last"], "MOVE_Walking");
	EXPECT_EQ(Summary["GroundSpeed"]["max"], 500.0);
	EXPECT_EQ(Summary["health"]["max"], 100.0);
	EXPECT_EQ(Summary["health"]["min"], 80.0) << "four burns of 5 over two seconds";
	EXPECT_EQ(Summary["reached"]["rising_edges"], 1);
	EXPECT_EQ(Summary["reached"]["falling_edges"], 1) << "a second at the point, then off to the other one";
	EXPECT_EQ(Summary["state"]["kind"], "number") << "an enum key reads as its integer";
	EXPECT_EQ(Summary["target_loc"]["kind"], "vector");
	EXPECT_EQ(Summary["target"]["kind"], "object");
	EXPECT_EQ(Summary["target"]["last"], "/Game/Maps/UEDPIE_0_Arena.Arena:PersistentLevel.TP_PatrolA");
	EXPECT_EQ(Summary["lamp_color"]["kind"], "json");
	EXPECT_EQ(Summary["aim"]["kind"], "rotator");
	EXPECT_EQ(Summary["score"]["last"], 0.0);
	EXPECT_EQ(Report["sample_resolution"][2]["read_ok"], 61) << "gas reads at 10 Hz over 6 s";
	EXPECT_EQ(Report["sample_resolution"][3]["read_ok"], 61) << "blackboard reads at 10 Hz over 6 s";
	EXPECT_EQ(Report["sample_resolution"][0]["read_ok"], 361) << "property reads on each of 361 passes";
	EXPECT_EQ(Report["samples_retained"], 361);

	std::map<std::string, FJson> ById;
	for (const FJson& R : Report["expectations"]) ById[R["id"].get<std::string>()] = R;
	for (const char* Id : {"walks", "brakes", "walking", "anim_follows", "burnt", "burnt_base", "only_down", "walks_then_burns", "enemy_arrives",
			 "at_target", "heads_for_b", "b_is_south", "turns_back_a_second_later", "lamp", "hero_class", "harness"})
	{
		EXPECT_EQ(ById[Id]["passed"], true) << ById[Id].dump();
	}
	EXPECT_EQ(ById["sprints"]["passed"], false);
	EXPECT_EQ(ById["sprints"]["message"],
		"Expected 'vel.len > 1000' for EVERY sample in the session, but sample #0 at t=0.00s had vel.len = 0. Context: 361 samples, len min 0.000, max "
		"500.000, last 0.000.");
	EXPECT_EQ(ById["never_hurt"]["passed"], false);
	EXPECT_EQ(ById["never_hurt"]["first_violation"]["actual"], 95.0) << "the first burn";
	EXPECT_EQ(Report["expectations_summary"], FJson::parse(R"({"total": 18, "failed": 2, "warned": 0})"));
	EXPECT_EQ(Report["expectations_failed"], FJson::parse(R"(["sprints", "never_hurt"])"));
	EXPECT_FALSE(Sampling.ExpectationsOk());

	FJson Rows = FJson::object();
	Sampling.WriteSamples(Rows);
	const FJson& Last = Rows["samples"].back();
	EXPECT_EQ(Last["values"]["vel"], FJson::parse("[0.0, 0.0, 0.0]"));
	EXPECT_EQ(Last["values"]["mode"], "MOVE_Walking");
	EXPECT_EQ(Last["values"]["health"], 80.0);
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
		{"name": "hp", "attribute": "USet.Mana", "required": false},
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
