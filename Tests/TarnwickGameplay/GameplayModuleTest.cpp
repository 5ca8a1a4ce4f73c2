// The module frame: the three namespaces registered with their catalogue entries and schemas, removed at
// shutdown, and parameters an action does not take refused before its handler runs.
#include "Catalogue/GameplayCatalogue.h"
#include "GameplayTestFixture.h"

#include <fstream>
#include <sstream>

using namespace Tarnwick::Gameplay;
using Tarnwick::Gameplay::Test::FGameplayTest;

TEST_F(FGameplayTest, EveryCatalogueEntryIsAToolWithItsSchema)
{
	FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	const std::vector<std::string> Expected = {"pie_key_down", "pie_key_up", "pie_press_key", "pie_mouse_move", "pie_click", "pie_get_player_state",
		"ai_runtime_get_all_bb_values", "ai_get_move_status", "ai_get_navmesh_stats", "ai_add_nav_bounds_volume", "ai_rebuild_navigation",
		"ai_build_navigation", "ai_validate_nav_points", "gas_get_attribute_value"};
	std::vector<std::string> Tools;
	for (const FTarnwickActionInfo& Info : Registry.GetAllActions()) Tools.push_back(Info.ToolName());
	EXPECT_EQ(Tools, Expected);
	const auto Press = Registry.FindTool("pie.press_key");
	ASSERT_TRUE(Press);
	EXPECT_EQ(Press->Family, "input");
	EXPECT_EQ(Press->ParamSchema->dump(),
		R"({"key":{"type":"string","description":")" + GetGameplayCatalogue()[2].Params[0].Description +
			R"(","required":true},"hold_ms":{"type":"integer","description":"Milliseconds to hold the key, clamped to 0-500; 0 presses and releases in the same frame.","required":false,"default":"0"},"modifiers":{"type":"array","description":"Modifier keys held around the event: any of Shift, Ctrl, Alt, Cmd.","required":false}})");
	EXPECT_EQ(Registry.FindTool("ai_get_navmesh_stats")->Annotations.ReadOnlyHint, std::optional<bool>(true));
	EXPECT_EQ(Registry.FindTool("gas_get_attribute_value")->Family, "attributes");
}

TEST_F(FGameplayTest, ShutdownRemovesTheNamespacesAndAStartIsIdempotent)
{
	Module->Get().StartupModule();
	EXPECT_EQ(FTarnwickToolRegistry::Get().GetActions("pie").size(), 6u);
	Module->Get().ShutdownModule();
	EXPECT_TRUE(FTarnwickToolRegistry::Get().GetAllActions().empty());
	EXPECT_FALSE(Call("ai", "get_navmesh_stats").bSuccess);
	Module->Get().StartupModule();
	EXPECT_EQ(FTarnwickToolRegistry::Get().GetActions("ai").size(), 7u);
}

TEST_F(FGameplayTest, ParametersAnActionDoesNotTakeAreRefused)
{
	CreateHost();
	ExpectError("pie", "key_down", FJson{{"key", "W"}, {"hold_ms", 100}}, -32602,
		"pie.key_down does not take 'hold_ms' (it takes: key, modifiers)");
	ExpectError("ai", "get_navmesh_stats", FJson{{"actor", "Enemy"}}, -32602, "ai.get_navmesh_stats does not take 'actor' (it takes: world)");
	// The session id the core adds to every call is not the caller's parameter.
	EXPECT_TRUE(Call("ai", "get_navmesh_stats", FJson{{"_tarnwick_session_id", "s1"}}).bSuccess);
}

TEST(GameplayCatalogue, ToolsDocListsEveryActionUnderItsFamily)
{
	std::ifstream File(std::string(TARNWICK_SOURCE_DIR) + "/docs/tools.md");
	ASSERT_TRUE(File.good()) << "docs/tools.md is missing";
	std::stringstream Buffer;
	Buffer << File.rdbuf();
	const std::string Doc = Buffer.str();
	for (const FGameplayActionSpec& Spec : GetGameplayCatalogue())
	{
		SCOPED_TRACE(Spec.QualifiedName());
		const std::string Heading = "\n## " + Spec.Namespace + "." + Spec.Family + "\n";
		const size_t Section = Doc.find(Heading);
		ASSERT_NE(Section, std::string::npos) << "no section" << Heading;
		const size_t SectionEnd = Doc.find("\n## ", Section + 1);
		const size_t Row = Doc.find("\n| `" + Spec.Namespace + "_" + Spec.Action + "` |", Section);
		EXPECT_TRUE(Row != std::string::npos && Row < SectionEnd) << "not listed under" << Heading;
		// Read-only actions say so in the table, as the editor's do.
		const size_t RowEnd = Doc.find('\n', Row + 1);
		const bool bMarked = Doc.substr(Row, RowEnd - Row).find("*read-only*") != std::string::npos;
		EXPECT_EQ(bMarked, Spec.Annotations.ReadOnlyHint.value_or(false));
	}
}
