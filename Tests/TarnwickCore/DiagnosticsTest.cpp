#include "TarnwickDiagnostics.h"
#include "TarnwickParamUtils.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Diagnostics;

TEST(DiagnosticsTest, RequireStringNamesTheKey)
{
	std::string Value;
	FTarnwickActionResult Error;
	EXPECT_FALSE(RequireString(nullptr, "map", Value, Error));
	EXPECT_EQ(Error.ErrorCode, -32602);
	EXPECT_EQ(Error.ErrorMessage, "Missing required parameter 'map'");
	EXPECT_EQ((*Error.ErrorData)["field"], "map");

	EXPECT_FALSE(RequireString(MakeJsonObject(FJson{{"map", ""}}), "map", Value, Error));
	EXPECT_EQ(Error.ErrorMessage, "Parameter 'map' must be a non-empty string");
	EXPECT_FALSE(RequireString(MakeJsonObject(FJson{{"map", 3}}), "map", Value, Error));

	EXPECT_TRUE(RequireString(MakeJsonObject(FJson{{"map", "/Game/Maps/Arena"}}), "map", Value, Error));
	EXPECT_EQ(Value, "/Game/Maps/Arena");
}

TEST(DiagnosticsTest, RequireOneOfListsTheChoices)
{
	std::string Value;
	FTarnwickActionResult Error;
	const FJsonPtr Params = MakeJsonObject(FJson{{"target", "world"}});
	EXPECT_FALSE(RequireOneOf(Params, "target", {"auto", "editor", "pie"}, Value, Error));
	EXPECT_EQ(Error.ErrorMessage, "Parameter 'target' must be one of: auto, editor, pie (got 'world')");
	EXPECT_TRUE(RequireOneOf(MakeJsonObject(FJson{{"target", "pie"}}), "target", {"auto", "pie"}, Value, Error));
	EXPECT_EQ(Value, "pie");
}

TEST(DiagnosticsTest, ValidationErrorKeepsMessageExactly)
{
	const FTarnwickActionResult E = MakeValidationError("expect[0]", "expect[0]: unknown op 'foo'", "", -32602);
	EXPECT_EQ(E.ErrorMessage, "expect[0]: unknown op 'foo'");
	EXPECT_FALSE(E.ErrorData->contains("hint"));
	const FTarnwickActionResult H = MakeValidationError("x", "bad", "try y", -32602);
	EXPECT_EQ((*H.ErrorData)["hint"], "try y");
}

TEST(DiagnosticsTest, DebugLevelAndBuilder)
{
	EXPECT_EQ(ReadDebugLevel(nullptr), EDebugLevel::Off);
	EXPECT_EQ(ReadDebugLevel(MakeJsonObject(FJson{{"debug", true}})), EDebugLevel::On);
	EXPECT_EQ(ReadDebugLevel(MakeJsonObject(FJson{{"debug", "verbose"}})), EDebugLevel::Verbose);
	EXPECT_EQ(ReadDebugLevel(MakeJsonObject(FJson{{"debug", "true"}})), EDebugLevel::On);
	EXPECT_EQ(ReadDebugLevel(MakeJsonObject(FJson{{"debug", "no"}})), EDebugLevel::Off);

	FJson Result = FJson::object();
	FActionDebugBuilder(EDebugLevel::Off).Action("editor", "save_level").Note("n").AttachTo(Result);
	EXPECT_TRUE(Result.empty());

	FActionDebugBuilder(EDebugLevel::On)
		.Action("editor", "save_level")
		.TimingsMs("total", 1.5)
		.Counter("actors", 3)
		.ResolvedPath("map", "/Game/Maps/Arena")
		.Note("fallback used")
		.AttachTo(Result);
	EXPECT_EQ(Result["_debug"]["action"], "editor.save_level");
	EXPECT_EQ(Result["_debug"]["timings_ms"]["total"], 1.5);
	EXPECT_EQ(Result["_debug"]["counters"]["actors"], 3);
	EXPECT_EQ(Result["_debug"]["notes"][0], "fallback used");
}

TEST(DiagnosticsTest, SessionIdIsReadAsStringOnly)
{
	EXPECT_EQ(Tarnwick::GetCallerSessionId(nullptr), "");
	EXPECT_EQ(Tarnwick::GetCallerSessionId(MakeJsonObject(FJson{{"_tarnwick_session_id", 5}})), "");
	EXPECT_EQ(Tarnwick::GetCallerSessionId(MakeJsonObject(FJson{{"_tarnwick_session_id", "s1"}})), "s1");
	EXPECT_EQ(Tarnwick::MakePIERequiredError().ErrorCode, -32603);
}

TEST(ParamUtilsTest, VectorsAndMobility)
{
	FVector V;
	EXPECT_TRUE(TarnwickParamUtils::ParseVector(MakeJsonObject(FJson{{"l", {1, 2.5, -3}}}), "l", V));
	EXPECT_EQ(V, FVector(1, 2.5, -3));
	EXPECT_TRUE(TarnwickParamUtils::ParseVector(MakeJsonObject(FJson{{"l", {{"x", 1}, {"y", 2}, {"z", 3}}}}), "l", V));
	EXPECT_EQ(V, FVector(1, 2, 3));
	EXPECT_FALSE(TarnwickParamUtils::ParseVector(MakeJsonObject(FJson{{"l", {1, 2}}}), "l", V));
	EXPECT_FALSE(TarnwickParamUtils::ParseVector(MakeJsonObject(FJson{{"l", {1, "2", 3}}}), "l", V));
	EXPECT_FALSE(TarnwickParamUtils::ParseVector(nullptr, "l", V));

	EComponentMobility::Type M = EComponentMobility::Static;
	EXPECT_TRUE(TarnwickParamUtils::ParseMobility("movable", M));
	EXPECT_EQ(M, EComponentMobility::Movable);
	EXPECT_TRUE(TarnwickParamUtils::ParseMobility("Stationary", M));
	EXPECT_FALSE(TarnwickParamUtils::ParseMobility("Mobile", M));
}

TEST(ParamUtilsTest, ContentPathsNormaliseToLongPackageNames)
{
	const std::vector<std::pair<std::string, std::string>> Good = {
		{"/Game/Maps/Arena", "/Game/Maps/Arena"},
		{"Game/Maps/Arena", "/Game/Maps/Arena"},
		{"/Game/Maps/Arena.Arena", "/Game/Maps/Arena"},
		{"/Game/Maps/Arena.umap", "/Game/Maps/Arena"},
		{"Content/Maps/Arena.umap", "/Game/Maps/Arena"},
		{"\\Game\\Blueprints\\BP_Hero.uasset", "/Game/Blueprints/BP_Hero"},
		{"  /Game/Maps/Arena/ ", "/Game/Maps/Arena"},
		{"/Engine/BasicShapes/Cube", "/Engine/BasicShapes/Cube"},
	};
	for (const auto& [In, Expected] : Good)
	{
		std::string Path = In, Error;
		EXPECT_TRUE(TarnwickParamUtils::NormalizeContentPath(Path, Error)) << In << ": " << Error;
		EXPECT_EQ(Path, Expected) << In;
	}
	const std::vector<std::pair<std::string, std::string>> Bad = {
		{"", "Path is empty"},
		{"/Game", "Path '/Game' is not a long package name such as /Game/Maps/MyMap"},
		{"/Game//Arena", "Path '/Game//Arena' has an empty folder name"},
		{"/Game/My Map", "Path '/Game/My Map' contains the character ' ', which package names cannot hold"},
	};
	for (const auto& [In, Message] : Bad)
	{
		std::string Path = In, Error;
		EXPECT_FALSE(TarnwickParamUtils::NormalizeContentPath(Path, Error)) << In;
		EXPECT_EQ(Error, Message);
		EXPECT_EQ(Path, In) << "a refused path is left as it was";
	}
}
