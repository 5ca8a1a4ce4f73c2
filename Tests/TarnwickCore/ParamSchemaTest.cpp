#include "Mcp/TarnwickToolSchema.h"
#include "TarnwickParamSchemaBuilder.h"

#include <gtest/gtest.h>

TEST(ParamSchemaBuilderTest, EntryFieldsInOrderAndOnlyWhenGiven)
{
	const FJsonPtr Schema = FTarnwickParamSchemaBuilder()
								.Optional("count", "integer", "How many.", "50")
								.Optional("filter", "string", "Filter.")
								.Required("session_id", "string", "Id.")
								.Add("tag", "string", "Tag.", false, "", false, {"gameplay_tag"}, EParamKind::GameplayTag)
								.Add("flag", "bool", "F.", false, "", true)
								.OptionalAssetPath("map", "Map.")
								.RequiredAssetPath("path", "Path.")
								.OptionalDiskPath("output_path", "Out.")
								.Build();
	EXPECT_EQ((*Schema)["count"].dump(), R"({"type":"integer","description":"How many.","required":false,"default":"50"})");
	EXPECT_EQ((*Schema)["filter"].dump(), R"({"type":"string","description":"Filter.","required":false})")
		<< "an empty default leaves no \"default\" at all";
	EXPECT_EQ((*Schema)["session_id"].dump(), R"({"type":"string","description":"Id.","required":true})");
	EXPECT_EQ((*Schema)["tag"].dump(),
		R"({"type":"string","description":"Tag.","required":false,"aliases":["gameplay_tag"],"kind":"GameplayTag"})");
	EXPECT_EQ((*Schema)["flag"].dump(), R"({"type":"bool","description":"F.","required":false,"default":""})")
		<< "the general form follows its has-default flag";
	EXPECT_EQ((*Schema)["map"]["kind"], "AssetPath");
	EXPECT_EQ((*Schema)["path"]["required"], true);
	EXPECT_EQ((*Schema)["output_path"]["kind"], "DiskPath");
	std::vector<std::string> Keys;
	for (const auto& Item : Schema->items()) Keys.push_back(Item.key());
	EXPECT_EQ(Keys, (std::vector<std::string>{"count", "filter", "session_id", "tag", "flag", "map", "path", "output_path"}));
}

TEST(ParamSchemaBuilderTest, DefaultsAreTextAndRepeatedNamesReplace)
{
	const FJsonPtr Schema = FTarnwickParamSchemaBuilder()
								.Optional("debug", "boolean|string", "Debug.", "false")
								.Optional("duration", "number", "D.", "5")
								.Optional("debug", "bool", "Replaced.", "true")
								.Build();
	ASSERT_EQ(Schema->size(), 2u);
	EXPECT_TRUE((*Schema)["duration"]["default"].is_string());
	EXPECT_EQ((*Schema)["debug"]["description"], "Replaced.");
	EXPECT_EQ((*Schema)["debug"]["default"], "true");
	EXPECT_FALSE(Schema->at("debug").contains("aliases"));
	EXPECT_TRUE(FTarnwickParamSchemaBuilder().Build()->is_object());
	EXPECT_TRUE(FTarnwickParamSchemaBuilder().Build()->empty());
}

TEST(ToolSchemaTest, TypesMapToJsonSchema)
{
	const FJsonPtr Params = FTarnwickParamSchemaBuilder()
								.Optional("a", "bool", "A.", "false")
								.Optional("b", "boolean", "B.", "true")
								.Optional("c", "array|object", "C.", "[512,512]")
								.Optional("d", "boolean|string", "D.", "verbose")
								.Required("e", "string", "E.")
								.Optional("f", "integer", "F.", "5")
								.Optional("g", "number", "G.", "0.1")
								.Optional("h", "string", "H.", "TARNWICK_SMOKE")
								.Optional("i", "integer", "I.", "not a number")
								.Optional("j", "boolean|string", "J.", "false")
								.Optional("k", "string", "K.", "5")
								.Build();
	const FJson Schema = Tarnwick::Mcp::ToInputSchema(*Params);
	EXPECT_EQ(Schema["type"], "object");
	const FJson& P = Schema["properties"];
	EXPECT_EQ(P["a"].dump(), R"({"type":"boolean","description":"A.","default":false})");
	EXPECT_EQ(P["b"]["default"], true);
	EXPECT_EQ(P["c"]["type"].dump(), R"(["array","object"])");
	EXPECT_EQ(P["c"]["default"].dump(), "[512,512]");
	EXPECT_EQ(P["d"]["type"].dump(), R"(["boolean","string"])");
	EXPECT_EQ(P["d"]["default"], "verbose");
	EXPECT_EQ(P["j"]["default"], false);
	EXPECT_EQ(P["f"]["default"], 5);
	EXPECT_DOUBLE_EQ(P["g"]["default"].get<double>(), 0.1);
	EXPECT_EQ(P["h"]["default"], "TARNWICK_SMOKE");
	EXPECT_FALSE(P["i"].contains("default")) << "a default that is not of the type is left out";
	EXPECT_EQ(P["k"]["default"], "5") << "a string default stays a string even when it looks like a number";
	EXPECT_EQ(Schema["required"].dump(), R"(["e"])");
}

TEST(ToolSchemaTest, EmptySchemaHasNoRequiredList)
{
	const FJson Schema = Tarnwick::Mcp::ToInputSchema(FJson::object());
	EXPECT_EQ(Schema.dump(), R"({"type":"object","properties":{},"additionalProperties":false})");
}
