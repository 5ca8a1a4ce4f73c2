// The sample-spec grammar: inference, derived names, the legacy AnimInstance list and its defaults, every
// refusal; variable references with selectors; root tokens.
#include "Sampling/RootToken.h"
#include "Sampling/SampleSpec.h"
#include "Sampling/SampleValue.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Sampling;

namespace
{
std::vector<FSampleSpec> Parse(const char* Json)
{
	std::vector<FSampleSpec> Specs;
	std::string Refusal;
	EXPECT_TRUE(ParseSampleSpecs(FJson::parse(Json), Specs, Refusal)) << Refusal;
	return Specs;
}

std::string Refuse(const char* Json)
{
	std::vector<FSampleSpec> Specs;
	std::string Refusal;
	EXPECT_FALSE(ParseSampleSpecs(FJson::parse(Json), Specs, Refusal)) << Json;
	return Refusal;
}

TEST(SampleSpecGrammar, InfersTheSourceAndDerivesTheName)
{
	const auto Specs = Parse(R"({"sample_spec": [
		{"path": "CharacterMovement.Velocity"},
		{"path": "GroundSpeed"},
		{"attribute": "USet.Health"},
		{"key": "TargetActor"},
		{"root": "game_state", "path": "ElapsedTime"},
		{"name": "Mode", "source": "GAS", "attribute": "USet.Mode", "interval": 9, "required": false}
	]})");
	ASSERT_EQ(Specs.size(), 6u);
	EXPECT_EQ(Specs[0].Source, ESampleSource::Property);
	EXPECT_EQ(Specs[0].Name, "Velocity");
	EXPECT_TRUE(Specs[0].bSourceInferred);
	EXPECT_EQ(Specs[0].Root, "pawn");
	EXPECT_EQ(Specs[1].Source, ESampleSource::Anim);
	EXPECT_EQ(Specs[1].Name, "GroundSpeed");
	EXPECT_EQ(Specs[2].Source, ESampleSource::Gas);
	EXPECT_EQ(Specs[2].Name, "Health");
	EXPECT_EQ(Specs[3].Source, ESampleSource::Blackboard);
	EXPECT_EQ(Specs[3].Name, "TargetActor");
	EXPECT_EQ(Specs[4].Source, ESampleSource::Property) << "a root field makes an undotted path a property";
	EXPECT_EQ(Specs[5].Source, ESampleSource::Gas);
	EXPECT_FALSE(Specs[5].bSourceInferred);
	EXPECT_EQ(Specs[5].Interval, 5.0);
	EXPECT_FALSE(Specs[5].bRequired);
	EXPECT_EQ(Specs[0].Interval, -1.0);
	EXPECT_TRUE(Specs[0].bRequired);
}

TEST(SampleSpecGrammar, LegacyVarsDefaultOnlyWhenNeitherKeyIsGiven)
{
	const auto Defaults = Parse("{}");
	ASSERT_EQ(Defaults.size(), 3u);
	EXPECT_EQ(Defaults[0].Name, "GroundSpeed");
	EXPECT_EQ(Defaults[1].Name, "bShouldMove");
	EXPECT_EQ(Defaults[2].Name, "DesiredYawDelta");
	for (const FSampleSpec& S : Defaults)
	{
		EXPECT_EQ(S.Source, ESampleSource::Anim);
		EXPECT_EQ(S.Root, "anim");
		EXPECT_EQ(S.Path, S.Name);
		EXPECT_FALSE(S.bRequired);
		EXPECT_FALSE(S.bSourceInferred);
	}
	EXPECT_TRUE(Parse(R"({"sample_vars": []})").empty()) << "an explicitly empty list samples nothing";
	EXPECT_TRUE(Parse(R"({"sample_spec": []})").empty()) << "sample_spec suppresses the defaults";

	const auto Legacy = Parse(R"({"sample_spec": [{"path": "Mesh.Mode", "name": "M"}], "sample_vars": ["Speed", 3, "", "speed", "Lean"]})");
	ASSERT_EQ(Legacy.size(), 3u);
	EXPECT_EQ(Legacy[0].Name, "M");
	EXPECT_EQ(Legacy[1].Name, "Speed") << "repeats dropped without regard to case, non-strings and empties skipped";
	EXPECT_EQ(Legacy[2].Name, "Lean");
}

TEST(SampleSpecGrammar, RefusalsNameTheEntry)
{
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"path": "A"}, 7]})"), "sample_spec[1] is not an object");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"source": "physics", "path": "A"}]})"),
		"sample_spec[0]: unknown source 'physics' — expected anim|property|gas|blackboard");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"root": "pawn"}]})"), "sample_spec[0] has no name and none could be derived (supply path/attribute/key)");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"path": "Speed"}], "sample_vars": ["SPEED"]})"),
		"'SPEED' is declared by both sample_vars and sample_spec — remove one (names must be unique)");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"path": "A.Speed"}, {"path": "B.speed"}]})"),
		"duplicate sample name 'speed' — names key the report and must be unique");
	EXPECT_EQ(Refuse(R"({"sample_spec": {"path": "A"}})"), "sample_spec must be an array of objects");
	EXPECT_EQ(Refuse(R"({"sample_vars": "GroundSpeed"})"), "sample_vars must be an array of AnimInstance variable names");
}

TEST(SampleSpecGrammar, FieldsASourceCannotUseAreRefusedNotIgnored)
{
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"path": "A", "atribute": "X"}]})"),
		"sample_spec[0]: unknown field 'atribute' — valid fields: name, source, root, path, attribute, key, interval, required, retain_json");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"attribute": "USet.Health", "path": "Health"}]})"),
		"sample_spec[0]: source 'gas' (inferred) does not use 'path' — remove it, or sample it in an entry of its own");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"source": "blackboard", "key": "K", "retain_json": true}]})"),
		"sample_spec[0]: source 'blackboard' does not use 'retain_json' — remove it, or sample it in an entry of its own");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"source": "gas", "name": "H"}]})"),
		"sample_spec[0]: source 'gas' requires 'attribute' (an attribute name such as USet.Health)");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"source": "blackboard", "name": "K"}]})"),
		"sample_spec[0]: source 'blackboard' requires 'key' (a blackboard key name)");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"source": "property", "name": "P"}]})"),
		"sample_spec[0]: source 'property' requires 'path' (a property name, or a dotted path such as CharacterMovement.Velocity)");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"path": 3}]})"), "sample_spec[0]: 'path' must be a string");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"path": "A", "interval": "fast"}]})"), "sample_spec[0]: 'interval' must be a number of seconds");
	EXPECT_EQ(Refuse(R"({"sample_spec": [{"path": "A", "required": "yes"}]})"), "sample_spec[0]: 'required' must be true or false");
}

TEST(VarRefs, SplitAtTheLastDotOnlyForAKnownSelector)
{
	const FVarRef Len = SplitVarRef("Velocity.LEN");
	EXPECT_EQ(Len.Name, "Velocity");
	EXPECT_EQ(Len.Selector, ESelector::Len);
	EXPECT_EQ(Len.Text, "Velocity.LEN");
	EXPECT_EQ(SplitVarRef("Health.base").Selector, ESelector::Base);
	const FVarRef Dotted = SplitVarRef("Mesh.Mode");
	EXPECT_EQ(Dotted.Name, "Mesh.Mode") << "a name with dots still works";
	EXPECT_EQ(Dotted.Selector, ESelector::None);
	EXPECT_EQ(SplitVarRef("a.b.x").Name, "a.b");
}

TEST(VarRefs, SelectorsYieldNumbersOnlyWhereTheyApply)
{
	const FSampleValue Vec = FSampleValue::MakeVector(3, 4, 0);
	EXPECT_EQ(NumericView(Vec, ESelector::Len), 5.0);
	EXPECT_EQ(NumericView(Vec, ESelector::Y), 4.0);
	EXPECT_FALSE(NumericView(Vec, ESelector::None));
	EXPECT_FALSE(NumericView(Vec, ESelector::Base));
	const FSampleValue Rot = FSampleValue::MakeRotator(10, 20, 30);
	EXPECT_EQ(NumericView(Rot, ESelector::X), 10.0) << "x, y, z are pitch, yaw, roll";
	EXPECT_EQ(NumericView(Rot, ESelector::Z), 30.0);
	EXPECT_EQ(NumericView(FSampleValue::MakeEnum("MOVE_Falling", 3), ESelector::None), 3.0);
	EXPECT_FALSE(NumericView(FSampleValue::MakeString("Walking"), ESelector::None));
	EXPECT_FALSE(NumericView(FSampleValue::MakeBool(true), ESelector::None));
	FSampleValue Health = FSampleValue::MakeNumber(80);
	Health.bHasBase = true;
	Health.Base = 100;
	EXPECT_EQ(NumericView(Health, ESelector::Base), 100.0);
	EXPECT_EQ(PrintSample(Vec, ESelector::None), "(3.00, 4.00, 0.00)");
	EXPECT_EQ(PrintSample(FSampleValue(), ESelector::None), "<missing>");
	EXPECT_EQ(PrintSample(FSampleValue::MakeString("Walking"), ESelector::None), "'Walking'");
	EXPECT_EQ(SampleToJson(Rot), FJson::parse("[10, 20, 30]"));
}

TEST(RootTokens, MatchWithoutRegardToCase)
{
	EXPECT_EQ(ParseRootToken("").Kind, ERootKind::Pawn);
	EXPECT_EQ(ParseRootToken("PAWN").Kind, ERootKind::Pawn);
	EXPECT_EQ(ParseRootToken("PC").Kind, ERootKind::PlayerController);
	EXPECT_EQ(ParseRootToken("player_controller").Kind, ERootKind::PlayerController);
	EXPECT_EQ(ParseRootToken("Game_Mode").Kind, ERootKind::GameMode);
	const FRootToken Actor = ParseRootToken("Actor:Crate");
	EXPECT_EQ(Actor.Kind, ERootKind::ActorLabel);
	EXPECT_EQ(Actor.Argument, "Crate");
	const FRootToken Class = ParseRootToken("actor_class:AIController");
	EXPECT_EQ(Class.Kind, ERootKind::ActorClass);
	EXPECT_EQ(Class.Argument, "AIController");
	EXPECT_EQ(ParseRootToken("world").Kind, ERootKind::Unknown);
	EXPECT_EQ(UnknownRootMessage("world"),
		"unknown root token 'world' — expected "
		"pawn|anim|controller|player_controller|player_pawn|player_state|game_state|game_mode|actor:<substr>|actor_class:<substr>");
}
}
