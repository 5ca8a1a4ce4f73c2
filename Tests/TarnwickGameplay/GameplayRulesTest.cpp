// Pure rules of the gameplay actions: key names and their refusals, modifiers, buttons, the hold and viewport
// clamps, the navigation points and pairs, the timeout clamp and a bounds volume's scale.
#include "Ai/NavigationRules.h"
#include "Pie/PieInputRules.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Gameplay;

TEST(PieInputRules, KeyNamesAreEKeysNamesAndRefusalsHelp)
{
	FKey Key;
	std::string Error;
	ASSERT_TRUE(ParseKeyName("w", Key, Error));
	EXPECT_EQ(Key.GetFName(), "W");
	ASSERT_TRUE(ParseKeyName("leftmousebutton", Key, Error));
	EXPECT_EQ(Key.GetFName(), "LeftMouseButton");

	EXPECT_FALSE(ParseKeyName("1", Key, Error));
	EXPECT_EQ(Error.rfind("Unknown key '1' — did you mean 'One'? Keys are EKeys names such as W, A, S, D, SpaceBar", 0), 0u) << Error;
	EXPECT_FALSE(ParseKeyName("Space", Key, Error));
	EXPECT_NE(Error.find("did you mean 'SpaceBar'?"), std::string::npos) << Error;
	EXPECT_FALSE(ParseKeyName("Num", Key, Error));
	EXPECT_NE(Error.find("did you mean 'NumPadZero' or 'NumPadOne' or 'NumPadTwo'?"), std::string::npos) << Error;
	EXPECT_FALSE(ParseKeyName("Q2", Key, Error));
	EXPECT_EQ(Error.find("did you mean"), std::string::npos) << Error;
	EXPECT_NE(Error.find("Unknown key 'Q2'"), std::string::npos);
}

TEST(PieInputRules, ModifiersMeanTheirLeftKeysOnce)
{
	std::vector<FKey> Keys;
	std::string Error;
	const FJson Mods = FJson::parse(R"(["shift", "Ctrl", "Control", "CMD", "Alt"])");
	ASSERT_TRUE(ParseModifiers(&Mods, Keys, Error));
	ASSERT_EQ(Keys.size(), 4u);
	EXPECT_EQ(Keys[0].GetFName(), "LeftShift");
	EXPECT_EQ(Keys[1].GetFName(), "LeftControl");
	EXPECT_EQ(Keys[2].GetFName(), "LeftCommand");
	EXPECT_EQ(Keys[3].GetFName(), "LeftAlt");
	EXPECT_TRUE(ParseModifiers(nullptr, Keys, Error));
	EXPECT_TRUE(Keys.empty());
	const FJson Bad = FJson::parse(R"(["Shift", "Hyper"])");
	EXPECT_FALSE(ParseModifiers(&Bad, Keys, Error));
	EXPECT_EQ(Error, "Unknown modifier \"Hyper\" — expected Shift, Ctrl, Alt or Cmd");
	const FJson NotArray = "Shift";
	EXPECT_FALSE(ParseModifiers(&NotArray, Keys, Error));
}

TEST(PieInputRules, ButtonsHoldAndViewportClamps)
{
	FKey Button;
	EXPECT_TRUE(ParseMouseButton("Right", Button));
	EXPECT_EQ(Button.GetFName(), "RightMouseButton");
	EXPECT_FALSE(ParseMouseButton("side", Button));
	EXPECT_EQ(ClampHoldMs(900), 500);
	EXPECT_EQ(ClampHoldMs(0.5), 0);
	EXPECT_EQ(ClampHoldMs(-20), 0);
	EXPECT_EQ(ClampHoldMs(250.7), 250);
	bool bClamped = false;
	EXPECT_EQ(ClampToViewport(100.4, 50, FIntPoint{1280, 720}, bClamped), (FIntPoint{100, 50}));
	EXPECT_FALSE(bClamped);
	EXPECT_EQ(ClampToViewport(-5, 9000, FIntPoint{1280, 720}, bClamped), (FIntPoint{0, 719}));
	EXPECT_TRUE(bClamped);
}

TEST(NavigationRules, PointsNeedNamesAndLocationsAndPairsNeedKnownNames)
{
	std::vector<FNavPoint> Points;
	std::string Error;
	const FJson Good = FJson::parse(R"([{"name":"A","location":[0,0,0]},{"name":"B","location":[100,0,0]}])");
	ASSERT_TRUE(ParseNavPoints(&Good, Points, Error)) << Error;
	ASSERT_EQ(Points.size(), 2u);
	EXPECT_EQ(Points[1].Location, FVector(100, 0, 0));

	const FJson Empty = FJson::array();
	EXPECT_FALSE(ParseNavPoints(&Empty, Points, Error));
	EXPECT_EQ(Error, "Parameter 'points' must be a non-empty array of {name, location: [x, y, z]}");
	const FJson NoName = FJson::parse(R"([{"location":[0,0,0]}])");
	EXPECT_FALSE(ParseNavPoints(&NoName, Points, Error));
	EXPECT_EQ(Error, "points[0]: 'name' must be a non-empty string");
	const FJson BadLocation = FJson::parse(R"([{"name":"A","location":[0,0,0]},{"name":"B","location":[1,2]}])");
	EXPECT_FALSE(ParseNavPoints(&BadLocation, Points, Error));
	EXPECT_EQ(Error, "points[1] (B): 'location' must be [x, y, z] of finite numbers");
	const FJson Twice = FJson::parse(R"([{"name":"A","location":[0,0,0]},{"name":"A","location":[1,2,3]}])");
	EXPECT_FALSE(ParseNavPoints(&Twice, Points, Error));
	EXPECT_EQ(Error, "points[1]: the name 'A' is used twice");

	ASSERT_TRUE(ParseNavPoints(&Good, Points, Error));
	std::vector<FNavPair> Pairs;
	EXPECT_TRUE(ParseNavPairs(nullptr, Points, Pairs, Error));
	const FJson Pair = FJson::parse(R"([{"from":"A","to":"B"}])");
	ASSERT_TRUE(ParseNavPairs(&Pair, Points, Pairs, Error));
	EXPECT_EQ(Pairs[0].To, "B");
	const FJson Unknown = FJson::parse(R"([{"from":"A","to":"C"}])");
	EXPECT_FALSE(ParseNavPairs(&Unknown, Points, Pairs, Error));
	EXPECT_EQ(Error, "require_path_pairs[0]: no point named 'C'");
	const FJson Half = FJson::parse(R"([{"from":"A"}])");
	EXPECT_FALSE(ParseNavPairs(&Half, Points, Pairs, Error));
}

TEST(NavigationRules, TimeoutClampAndVolumeScale)
{
	EXPECT_EQ(ClampNavTimeout(-1), 0.0);
	EXPECT_EQ(ClampNavTimeout(30), 30.0);
	EXPECT_EQ(ClampNavTimeout(1e9), 600.0);
	EXPECT_EQ(BoundsVolumeScale(FVector(3000, 3000, 500)), FVector(30, 30, 5));
}
