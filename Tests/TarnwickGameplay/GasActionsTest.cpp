// The "gas" action: an attribute's current and base value in the editor world and over a PIE session, and
// the errors for a missing actor, component, set or attribute.
#include "GameplayTestFixture.h"

#include "GameViewport.h"

using Tarnwick::Gameplay::Test::FGameplayTest;

TEST_F(FGameplayTest, AttributeValuesChangeOverTheSession)
{
	CreateHost();
	// In the editor world the defaults: the map's enemy declares its own.
	EXPECT_EQ(Succeed("gas", "get_attribute_value", FJson{{"actor", "Enemy"}, {"attribute", "USet.Health"}}),
		FJson::parse(R"({"actor":"Enemy","attribute":"USet.Health","current_value":80.0,"base_value":80.0,"world":"editor"})"));
	UWorld* World = StartPie();
	const FJson Start = Succeed("gas", "get_attribute_value", FJson{{"actor", "BP_Hero"}, {"attribute", "uset.health"}});
	EXPECT_EQ(Start["current_value"], 100.0);
	EXPECT_EQ(Start["attribute"], "USet.Health");
	EXPECT_EQ(Start["world"], "pie");
	// Into the fire pit: the periodic burn lowers the base as it goes.
	World->GetGameViewport()->InputKey(FInputKeyParams{FKey("W"), IE_Pressed});
	Host->StepFrames(40);
	World->GetGameViewport()->InputKey(FInputKeyParams{FKey("W"), IE_Released});
	const FJson Burnt = Succeed("gas", "get_attribute_value", FJson{{"actor", "BP_Hero"}, {"attribute", "USet.Health"}});
	EXPECT_LT(Burnt["current_value"].get<double>(), 100.0);
	EXPECT_EQ(Burnt["current_value"], Burnt["base_value"]);
	Host->StepFrames(180);
	EXPECT_EQ(Succeed("gas", "get_attribute_value", FJson{{"actor", "BP_Hero"}, {"attribute", "USet.Health"}})["current_value"], 80.0);
}

TEST_F(FGameplayTest, AttributeErrorsSayWhatIsMissing)
{
	CreateHost();
	StartPie();
	ExpectError("gas", "get_attribute_value", FJson{{"actor", "BP_Hero"}}, -32602, "Missing required parameter 'attribute'");
	ExpectError("gas", "get_attribute_value", FJson{{"actor", "BP_Hero"}, {"attribute", "Health"}}, -32602,
		"Parameter 'attribute' must be '<AttributeSet>.<Attribute>' such as 'USet.Health' (got 'Health')");
	ExpectError("gas", "get_attribute_value", FJson{{"actor", "Nobody"}, {"attribute", "USet.Health"}}, -32602,
		"no actor matching 'Nobody' in the PIE world");
	ExpectError("gas", "get_attribute_value", FJson{{"actor", "Crate_1"}, {"attribute", "USet.Health"}}, -32603,
		"'Crate_1' has no AbilitySystemComponent, so it has no attributes");
	ExpectError("gas", "get_attribute_value", FJson{{"actor", "BP_Hero"}, {"attribute", "UMagic.Mana"}}, -32603,
		"'BP_Hero' has no attribute set 'UMagic' (its sets: USet)");
	ExpectError("gas", "get_attribute_value", FJson{{"actor", "BP_Hero"}, {"attribute", "USet.Mana"}}, -32602,
		"'USet' has no attribute 'Mana' (its attributes: Health, MaxHealth, Stamina)");
}
