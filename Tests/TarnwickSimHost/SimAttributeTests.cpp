// Gameplay attributes: set declarations and their errors, merging a map's values over a class's, and effects
// (instant, periodic, for a duration, infinite, override) with bounds; blackboard values from JSON.
#include "SimAbilitySystem.h"
#include "SimBlackboard.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Sim;

namespace
{
const FGameplayAttribute Health{"USet", "Health"};
const FGameplayAttribute MaxHealth{"USet", "MaxHealth"};

std::vector<FSimAttributeSetDef> Sets(const char* Text)
{
	std::string Error;
	auto Parsed = ParseAttributeSets(FSimJson::parse(Text), &Error);
	EXPECT_TRUE(Parsed) << Error;
	return Parsed ? *Parsed : std::vector<FSimAttributeSetDef>();
}

FSimGameplayEffectSpec Effect(ESimEffectOp Op, double Magnitude, ESimEffectDuration Duration = ESimEffectDuration::Instant, double Seconds = 0.0,
	double Period = 0.0)
{
	return FSimGameplayEffectSpec{Health, Op, Magnitude, Duration, Seconds, Period};
}
}

TEST(SimAttributeRules, SetsParseWithBoundsAndRefuseBadShapes)
{
	const auto S = Sets(R"({"USet": {"Health": {"Base": 100, "Min": 0, "Max": "MaxHealth"}, "MaxHealth": 120}})");
	ASSERT_EQ(S.size(), 1u);
	EXPECT_EQ(S[0].Attributes[0].Base, 100.0);
	EXPECT_EQ(S[0].Attributes[0].MinValue, std::optional<double>(0.0));
	EXPECT_EQ(S[0].Attributes[0].MaxAttribute, "MaxHealth");
	const std::pair<const char*, const char*> Bad[] = {
		{R"([1])", "must be an object of attribute sets, such as {\"USet\": {\"Health\": 100}}"},
		{R"({"USet": {}})", "USet must be an object of attributes, such as {\"Health\": 100}"},
		{R"({"USet": {"Health": "full"}})", "USet.Health: must be a number (the base value) or {\"Base\", \"Min\", \"Max\"}"},
		{R"({"USet": {"Health": {"Min": 0}}})", "USet.Health: \"Base\" must be a finite number"},
		{R"({"USet": {"Health": {"Base": 1, "Cap": 2}}})", "USet.Health: unknown key \"Cap\" (expected Base, Min, Max)"},
		{R"({"USet": {"Health": {"Base": 1, "Max": "Mana"}}})", "USet.Health: the bound \"Mana\" is not another attribute of USet"},
		{R"({"U Set": {"Health": 1}})", "\"U Set\" is not a valid attribute set name"},
	};
	for (const auto& [Text, Expected] : Bad)
	{
		std::string Error;
		EXPECT_FALSE(ParseAttributeSets(FSimJson::parse(Text), &Error)) << Text;
		EXPECT_EQ(Error, Expected);
	}
}

TEST(SimAttributeRules, AMapsValuesOverrideTheClassesAndAddNewOnes)
{
	const auto Merged = MergeAttributeSets(Sets(R"({"USet": {"Health": 100, "Stamina": 50}})"),
		Sets(R"({"USet": {"Health": 250, "Armor": 5}, "UMagic": {"Mana": 30}})"));
	ASSERT_EQ(Merged.size(), 2u);
	ASSERT_EQ(Merged[0].Attributes.size(), 3u);
	EXPECT_EQ(Merged[0].Attributes[0].Base, 250.0);
	EXPECT_EQ(Merged[0].Attributes[1].Name, "Stamina");
	EXPECT_EQ(Merged[0].Attributes[2].Name, "Armor");
	EXPECT_EQ(Merged[1].Name, "UMagic");
}

TEST(SimAbilitySystem, InstantEffectsChangeTheBaseWithinItsBounds)
{
	FSimAbilitySystemComponent Asc;
	Asc.InitAttributes(Sets(R"({"USet": {"Health": {"Base": 100, "Min": 0, "Max": "MaxHealth"}, "MaxHealth": 100}})"));
	EXPECT_TRUE(Asc.HasAttribute(FGameplayAttribute{"uset", "health"})) << "names compare without regard to case";
	EXPECT_TRUE(Asc.ApplyEffect(Effect(ESimEffectOp::Add, -30), 0.0));
	EXPECT_EQ(Asc.GetNumericAttributeBase(Health), 70.0);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 70.0);
	Asc.ApplyEffect(Effect(ESimEffectOp::Add, 500), 0.0);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 100.0) << "held to MaxHealth";
	Asc.ApplyEffect(Effect(ESimEffectOp::Override, -5), 0.0);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 0.0) << "held to Min";
	EXPECT_FALSE(Asc.ApplyEffect(FSimGameplayEffectSpec{FGameplayAttribute{"USet", "Mana"}}, 0.0));
	EXPECT_EQ(Asc.GetNumActiveEffects(), 0);
}

TEST(SimAbilitySystem, PeriodicEffectsExecuteAtTheStartAndEveryPeriodWhileTheyLast)
{
	FSimAbilitySystemComponent Asc;
	Asc.InitAttributes(Sets(R"({"USet": {"Health": 100}})"));
	Asc.ApplyEffect(Effect(ESimEffectOp::Add, -5, ESimEffectDuration::HasDuration, 2.0, 0.5), 10.0);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 95.0);
	Asc.TickEffects(10.4);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 95.0);
	Asc.TickEffects(11.0);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 85.0) << "at 10.5 and 11.0";
	Asc.TickEffects(13.0);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 80.0) << "11.5 is the last; 12.0 is when it ends";
	EXPECT_EQ(Asc.GetNumActiveEffects(), 0);
	EXPECT_EQ(Asc.GetNumericAttributeBase(Health), 80.0);
}

TEST(SimAbilitySystem, DurationEffectsChangeOnlyTheCurrentValueUntilTheyEnd)
{
	FSimAbilitySystemComponent Asc;
	Asc.InitAttributes(Sets(R"({"USet": {"Health": 100, "MaxHealth": 100}})"));
	Asc.ApplyEffect(Effect(ESimEffectOp::Add, 20, ESimEffectDuration::HasDuration, 3.0), 0.0);
	Asc.ApplyEffect(Effect(ESimEffectOp::Multiply, 0.5, ESimEffectDuration::Infinite), 1.0);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 60.0) << "(100 + 20) x 0.5";
	EXPECT_EQ(Asc.GetNumericAttributeBase(Health), 100.0);
	Asc.TickEffects(2.9);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 60.0);
	Asc.TickEffects(3.0);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 50.0) << "the +20 ended; the infinite x0.5 goes on";
	Asc.SetNumericAttributeBase(Health, 40.0);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 20.0);
	Asc.ApplyEffect(Effect(ESimEffectOp::Override, 7, ESimEffectDuration::HasDuration, 1.0), 5.0);
	EXPECT_EQ(Asc.GetNumericAttribute(Health), 7.0);
	EXPECT_EQ(Asc.GetNumericAttribute(MaxHealth), 100.0);
	EXPECT_EQ(Asc.Describe().dump(), R"({"USet.Health":[7.0,40.0],"USet.MaxHealth":[100.0,100.0]})");
}

TEST(SimBlackboardValues, JsonValuesMustFitTheKeysType)
{
	FSimBlackboardData Data;
	Data.Keys = {{"Where", EBlackboardKeyType::Vector, {}}, {"Mood", EBlackboardKeyType::Enum, {"Calm", "Angry"}},
		{"Count", EBlackboardKeyType::Int, {}}, {"Tag", EBlackboardKeyType::Name, {}}, {"Who", EBlackboardKeyType::Object, {}}};
	FSimBlackboardComponent BB;
	ASSERT_TRUE(BB.InitializeBlackboard(&Data));
	EXPECT_EQ(BB.GetValueAsName(BB.GetKeyID("tag")), "None");
	std::string Error;
	const auto NoObjects = [](const std::string&) -> UObject* { return nullptr; };
	EXPECT_TRUE(BB.SetValueFromJson(0, FSimJson::parse("[1,2,3]"), NoObjects, &Error));
	EXPECT_EQ(BB.GetValueAsVector(0), FVector(1, 2, 3));
	EXPECT_TRUE(BB.SetValueFromJson(1, "angry", NoObjects, &Error));
	EXPECT_EQ(BB.GetValueAsEnum(1), 1);
	EXPECT_FALSE(BB.SetValueFromJson(1, "Sad", NoObjects, &Error));
	EXPECT_EQ(Error, "\"Sad\" is not a value of the enum key Mood");
	EXPECT_FALSE(BB.SetValueFromJson(2, 1.5, NoObjects, &Error));
	EXPECT_EQ(Error, "1.5 does not fit the int key Count");
	EXPECT_FALSE(BB.SetValueFromJson(4, "Ghost", NoObjects, &Error));
	EXPECT_EQ(Error, "no object 'Ghost' for the object key Who");
	EXPECT_TRUE(BB.SetValueFromJson(4, nullptr, NoObjects, &Error));
	// Typed setters refuse a key of another type.
	EXPECT_FALSE(BB.SetValueAsFloat(0, 1.0f));
	EXPECT_FALSE(BB.SetValueAsEnum(1, 2)) << "past the enum's values";
	EXPECT_EQ(BB.GetKeyID("Nothing"), BlackboardInvalidKey);
}
