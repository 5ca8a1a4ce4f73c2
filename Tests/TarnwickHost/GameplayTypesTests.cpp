// The engine-shaped value types of input, navigation, blackboards and attributes, and the log's category list.
#include "AbilitySystemComponent.h"
#include "BlackboardComponent.h"
#include "InputCoreTypes.h"
#include "Logging.h"
#include "NavigationSystem.h"

#include <gtest/gtest.h>

#include <optional>

TEST(FKey, NamesAreEKeysNamesComparedWithoutCase)
{
	EXPECT_EQ(FKey("w").GetFName(), "W");
	EXPECT_EQ(FKey("spacebar").GetFName(), "SpaceBar");
	EXPECT_EQ(FKey("LEFTMOUSEBUTTON").GetFName(), "LeftMouseButton");
	EXPECT_TRUE(FKey("One").IsValid());
	// Digits are spelled out in EKeys; the character itself is not a key name.
	EXPECT_FALSE(FKey("1").IsValid());
	EXPECT_FALSE(FKey("").IsValid());
	EXPECT_FALSE(FKey("Space").IsValid());
}

TEST(FKey, KindsOfKey)
{
	EXPECT_TRUE(FKey("MouseX").IsAxis1D());
	EXPECT_FALSE(FKey("LeftMouseButton").IsAxis1D());
	EXPECT_TRUE(FKey("LeftMouseButton").IsMouseButton());
	EXPECT_TRUE(FKey("LeftShift").IsModifierKey());
	EXPECT_FALSE(FKey("A").IsModifierKey());
	const auto& All = EKeys::GetAllKeyNames();
	EXPECT_EQ(All.front(), "A");
	EXPECT_EQ(All.back(), "MouseWheelAxis");
}

TEST(FGameplayAttribute, ParsesSetDotAttribute)
{
	FGameplayAttribute A;
	ASSERT_TRUE(FGameplayAttribute::Parse("USet.Health", A));
	EXPECT_EQ(A.AttributeSetName, "USet");
	EXPECT_EQ(A.AttributeName, "Health");
	EXPECT_EQ(A.GetName(), "USet.Health");
	for (const char* Bad : {"Health", ".Health", "USet.", "USet.Health.Max", ""}) EXPECT_FALSE(FGameplayAttribute::Parse(Bad, A)) << Bad;
}

TEST(BlackboardText, VectorsAndRotatorsPrintAsTheEngineDoes)
{
	EXPECT_EQ(VectorToString(FVector(1, -2.5, 300)), "X=1.000 Y=-2.500 Z=300.000");
	EXPECT_EQ(RotatorToString(FRotator(0, 90, -1.5)), "P=0.000000 Y=90.000000 R=-1.500000");
	EXPECT_STREQ(LexToString(EBlackboardKeyType::Rotator), "rotator");
}

TEST(FNavigationPath, LengthSumsSegmentsAndNeedsTwoPoints)
{
	FNavigationPath Path;
	EXPECT_FALSE(Path.IsValid());
	Path.PathPoints = {FVector(0, 0, 0)};
	EXPECT_FALSE(Path.IsValid());
	Path.PathPoints = {FVector(0, 0, 0), FVector(300, 400, 0), FVector(300, 400, 120)};
	EXPECT_TRUE(Path.IsValid());
	EXPECT_DOUBLE_EQ(Path.GetPathLength(), 620.0);
}

TEST(LogCategories, AreFoundByNameWhileTheyLive)
{
	{
		std::optional<FLogCategory> Category;
		Category.emplace("LogGameplayTypesTest", ELogVerbosity::Warning);
		FLogCategory* Found = Tarnwick::Host::FindLogCategory("loggameplaytypestest");
		ASSERT_EQ(Found, &*Category);
		EXPECT_EQ(Found->GetVerbosity(), ELogVerbosity::Warning);
		bool bListed = false;
		for (FLogCategory* C : Tarnwick::Host::GetLogCategories()) bListed = bListed || C == Found;
		EXPECT_TRUE(bListed);
	}
	EXPECT_EQ(Tarnwick::Host::FindLogCategory("LogGameplayTypesTest"), nullptr);
}

TEST(LogCategories, VerbosityNames)
{
	ELogVerbosity::Type V = ELogVerbosity::Log;
	EXPECT_TRUE(Tarnwick::Host::ParseLogVerbosity("VeryVerbose", V));
	EXPECT_EQ(V, ELogVerbosity::VeryVerbose);
	EXPECT_TRUE(Tarnwick::Host::ParseLogVerbosity("warning", V));
	EXPECT_EQ(V, ELogVerbosity::Warning);
	EXPECT_FALSE(Tarnwick::Host::ParseLogVerbosity("loud", V));
	EXPECT_EQ(V, ELogVerbosity::Warning);
}

TEST(FStringOutputDevice, JoinsLinesWithNewlines)
{
	FStringOutputDevice Out;
	EXPECT_TRUE(Out.IsEmpty());
	Out.Log("LogTemp", ELogVerbosity::Log, "one");
	Out.Log("LogTemp", ELogVerbosity::Warning, "two");
	EXPECT_EQ(Out.GetText(), "one\ntwo");
}
