// Input mappings in the engine's ini form and how one frame of key events becomes axis values and actions.
#include "SimPlayerInput.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Sim;

namespace
{
FSimInputSettings Parse(const std::string& Ini, std::vector<std::string>* Problems = nullptr)
{
	return ParseInputSettings(ParseIni("[/Script/Engine.InputSettings]\n" + Ini), Problems);
}

const char* const ArenaLikeMappings = R"(
+AxisMappings=(AxisName="MoveForward",Key=W,Scale=1.000000)
+AxisMappings=(AxisName="MoveForward",Key=S,Scale=-1.000000)
+AxisMappings=(AxisName="Turn",Key=MouseX,Scale=1.000000)
+ActionMappings=(ActionName="Jump",Key=SpaceBar,bShift=False,bCtrl=False,bAlt=False,bCmd=False)
+ActionMappings=(ActionName="Dash",Key=SpaceBar,bShift=True)
)";
}

TEST(SimInputStruct, SplitsFieldsAndUnquotes)
{
	std::vector<std::pair<std::string, std::string>> Fields;
	ASSERT_TRUE(ParseIniStruct(R"((AxisName="Move, Forward", Key=W ,Scale=1.0))", Fields, nullptr));
	ASSERT_EQ(Fields.size(), 3u);
	EXPECT_EQ(Fields[0], (std::pair<std::string, std::string>{"AxisName", "Move, Forward"}));
	EXPECT_EQ(Fields[1], (std::pair<std::string, std::string>{"Key", "W"}));
	EXPECT_EQ(Fields[2], (std::pair<std::string, std::string>{"Scale", "1.0"}));
	std::string Error;
	EXPECT_FALSE(ParseIniStruct("AxisName=Foo", Fields, &Error));
	EXPECT_FALSE(ParseIniStruct(R"((AxisName="Foo))", Fields, &Error));
	EXPECT_EQ(Error, "a quoted value is not closed");
	EXPECT_FALSE(ParseIniStruct("(Key)", Fields, &Error));
}

TEST(SimInputSettings, ReadsMappingsAndSkipsBadEntriesWithTheirReason)
{
	std::vector<std::string> Problems;
	const FSimInputSettings S = Parse(std::string(ArenaLikeMappings) + R"(
+AxisMappings=(AxisName="MoveRight",Key=Q2,Scale=1.0)
+AxisMappings=(Key=D,Scale=1.0)
+AxisMappings=(AxisName="MoveRight",Key=D,Scale=lots)
+ActionMappings=(ActionName="Look",Key=MouseX)
+ActionMappings=(ActionName="Fire",Key=LeftMouseButton,bShift=Maybe)
)",
		&Problems);
	ASSERT_EQ(S.AxisMappings.size(), 3u);
	EXPECT_EQ(S.AxisMappings[1].Key.GetFName(), "S");
	EXPECT_DOUBLE_EQ(S.AxisMappings[1].Scale, -1.0);
	ASSERT_EQ(S.ActionMappings.size(), 2u);
	EXPECT_TRUE(S.ActionMappings[1].bShift);
	EXPECT_EQ(Problems, (std::vector<std::string>{"AxisMappings[3]: unknown key 'Q2'", "AxisMappings[4]: AxisName is missing",
							"AxisMappings[5]: Scale 'lots' is not a number",
							"ActionMappings[2]: key 'MouseX' is an axis and cannot trigger an action",
							"ActionMappings[3]: bShift must be True or False, not 'Maybe'"}));
}

TEST(SimPlayerInputFrame, HeldKeysDriveAxesAndEventsDriveActions)
{
	const FSimInputSettings S = Parse(ArenaLikeMappings);
	FSimPlayerInput Input;
	EXPECT_TRUE(Input.InputKey({FKey("W"), IE_Pressed}));
	FSimInputFrame F = Input.ConsumeFrame(S);
	EXPECT_DOUBLE_EQ(F.GetAxis("MoveForward"), 1.0);
	EXPECT_TRUE(F.Actions.empty());
	// Still held on the next frame; W and S together cancel.
	Input.InputKey({FKey("S"), IE_Pressed});
	F = Input.ConsumeFrame(S);
	EXPECT_DOUBLE_EQ(F.GetAxis("MoveForward"), 0.0);
	Input.InputKey({FKey("W"), IE_Released});
	Input.InputKey({FKey("S"), IE_Released});
	F = Input.ConsumeFrame(S);
	EXPECT_DOUBLE_EQ(F.GetAxis("MoveForward"), 0.0);
	EXPECT_DOUBLE_EQ(F.GetAxis("NoSuchAxis"), 0.0);
}

TEST(SimPlayerInputFrame, ATapWithinOneFrameFiresActionsButMovesNoAxis)
{
	const FSimInputSettings S = Parse(ArenaLikeMappings);
	FSimPlayerInput Input;
	Input.InputKey({FKey("SpaceBar"), IE_Pressed});
	Input.InputKey({FKey("SpaceBar"), IE_Released});
	Input.InputKey({FKey("W"), IE_Pressed});
	Input.InputKey({FKey("W"), IE_Released});
	const FSimInputFrame F = Input.ConsumeFrame(S);
	EXPECT_EQ(F.Actions, (std::vector<std::pair<std::string, EInputEvent>>{{"Jump", IE_Pressed}, {"Jump", IE_Released}}));
	EXPECT_DOUBLE_EQ(F.GetAxis("MoveForward"), 0.0);
	EXPECT_TRUE(Input.ConsumeFrame(S).Actions.empty());
}

TEST(SimPlayerInputFrame, ModifiersSelectMappingsAndRepeatsAndStrayReleasesFireNothing)
{
	const FSimInputSettings S = Parse(ArenaLikeMappings);
	FSimPlayerInput Input;
	Input.InputKey({FKey("LeftShift"), IE_Pressed});
	Input.InputKey({FKey("SpaceBar"), IE_Pressed});
	Input.InputKey({FKey("SpaceBar"), IE_Pressed}); // already down: a repeat
	Input.InputKey({FKey("Enter"), IE_Released});   // never pressed
	const FSimInputFrame F = Input.ConsumeFrame(S);
	// A mapping without modifiers ignores a held Shift; the Shift mapping needs it.
	EXPECT_EQ(F.Actions, (std::vector<std::pair<std::string, EInputEvent>>{{"Jump", IE_Pressed}, {"Dash", IE_Pressed}}));
	EXPECT_EQ(Input.GetKeysDown(), (std::vector<std::string>{"LeftShift", "SpaceBar"}));
}

TEST(SimPlayerInputFrame, MouseMovementIsScaledBySensitivityForOneFrame)
{
	const FSimInputSettings S = Parse(ArenaLikeMappings);
	FSimPlayerInput Input;
	EXPECT_TRUE(Input.InputKey({FKey("MouseX"), IE_Axis, 60.0}));
	EXPECT_TRUE(Input.InputKey({FKey("MouseX"), IE_Axis, 40.0}));
	EXPECT_FALSE(Input.InputKey({FKey("W"), IE_Axis, 1.0}));
	EXPECT_FALSE(Input.InputKey({FKey("MouseX"), IE_Pressed}));
	EXPECT_NEAR(Input.ConsumeFrame(S).GetAxis("Turn"), 7.0, 1e-12);
	EXPECT_DOUBLE_EQ(Input.ConsumeFrame(S).GetAxis("Turn"), 0.0);
}
