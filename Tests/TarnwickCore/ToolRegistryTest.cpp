#include "TarnwickTestHelpers.h"

#include "TarnwickParamSchemaBuilder.h"

using Tarnwick::Test::FRegistryTest;

namespace
{
FTarnwickActionHandler Echo(int* Calls = nullptr)
{
	return [Calls](const FJsonPtr& Params) {
		if (Calls) ++*Calls;
		FJson Out = FJson::object();
		Out["had_params"] = Params != nullptr;
		Out["keys"] = Params ? Params->size() : 0;
		return FTarnwickActionResult::Success(std::move(Out));
	};
}
}

class ToolRegistryTest : public FRegistryTest
{
};

TEST_F(ToolRegistryTest, RegisteredActionRunsAndListsInOrder)
{
	auto& Registry = FTarnwickToolRegistry::Get();
	EXPECT_TRUE(Registry.RegisterAction("editor", "b_second", "B", Echo(), nullptr, ""));
	EXPECT_TRUE(Registry.RegisterAction("editor", "a_first", "A", Echo(), nullptr, ""));
	EXPECT_TRUE(Registry.RegisterAction("pie", "press", "P", Echo(), nullptr, ""));

	const auto Actions = Registry.GetActions("editor");
	ASSERT_EQ(Actions.size(), 2u);
	EXPECT_EQ(Actions[0].Action, "b_second");
	EXPECT_EQ(Actions[1].Action, "a_first");
	EXPECT_TRUE(Actions[0].ParamSchema->is_object()) << "a null schema is stored as an empty object";
	EXPECT_EQ(Registry.GetNamespaces(), (std::vector<std::string>{"editor", "pie"}));

	const FTarnwickActionResult R = Registry.ExecuteAction("pie", "press", MakeJsonObject(FJson{{"k", 1}}));
	ASSERT_TRUE(R.bSuccess);
	EXPECT_EQ((*R.Result)["keys"], 1);
}

TEST_F(ToolRegistryTest, UnknownActionIsInvalidParams)
{
	const FTarnwickActionResult R = FTarnwickToolRegistry::Get().ExecuteAction("editor", "nope", nullptr);
	EXPECT_FALSE(R.bSuccess);
	EXPECT_EQ(R.ErrorCode, -32602);
	EXPECT_EQ(R.ErrorMessage, "Unknown action 'editor.nope'");
}

TEST_F(ToolRegistryTest, GateIsEvaluatedAtEveryCall)
{
	auto& Registry = FTarnwickToolRegistry::Get();
	bool bAllowed = false;
	int Calls = 0;
	int GateCalls = 0;
	Registry.RegisterAction("editor", "restart", "R", Echo(&Calls), nullptr, "",
		[&] { ++GateCalls; return bAllowed; }, "editor.restart disabled by user");
	EXPECT_EQ(GateCalls, 0) << "the gate is not evaluated at registration";

	FTarnwickActionResult R = Registry.ExecuteAction("editor", "restart", nullptr);
	EXPECT_FALSE(R.bSuccess);
	EXPECT_EQ(R.ErrorMessage, "editor.restart disabled by user");
	EXPECT_EQ(R.ErrorCode, -32603);
	EXPECT_EQ(Calls, 0) << "a closed gate never runs the handler";

	bAllowed = true;
	R = Registry.ExecuteAction("editor", "restart", nullptr);
	EXPECT_TRUE(R.bSuccess);
	EXPECT_EQ(Calls, 1);
	EXPECT_EQ(GateCalls, 2);
}

TEST_F(ToolRegistryTest, DisabledNamespaceAnswersItsReason)
{
	auto& Registry = FTarnwickToolRegistry::Get();
	Registry.MarkNamespaceDisabled("editor", "editor namespace disabled by user");
	EXPECT_EQ(Registry.GetNamespaceDisabledReason("editor"), "editor namespace disabled by user");
	EXPECT_EQ(Registry.GetNamespaces(), std::vector<std::string>{"editor"});
	const FTarnwickActionResult R = Registry.ExecuteAction("editor", "anything", nullptr);
	EXPECT_EQ(R.ErrorMessage, "editor namespace disabled by user");
	EXPECT_TRUE(Registry.GetActions("editor").empty());
}

TEST_F(ToolRegistryTest, UnregisterNamespaceRemovesOnlyThatNamespaceAndIsSafeWhenEmpty)
{
	auto& Registry = FTarnwickToolRegistry::Get();
	Registry.UnregisterNamespace("never_registered");
	Registry.RegisterAction("editor", "a", "", Echo(), nullptr, "");
	Registry.RegisterAction("editor_utility", "run", "", Echo(), nullptr, "");
	Registry.UnregisterNamespace("editor");
	EXPECT_TRUE(Registry.GetActions("editor").empty());
	EXPECT_FALSE(Registry.FindTool("editor_a"));
	EXPECT_TRUE(Registry.FindTool("editor_utility_run"));
	EXPECT_EQ(Registry.GetNamespaces(), std::vector<std::string>{"editor_utility"});
	// The name is free again.
	EXPECT_TRUE(Registry.RegisterAction("editor", "a", "", Echo(), nullptr, ""));
}

TEST_F(ToolRegistryTest, UnregisteringADisabledNamespaceClearsItsMark)
{
	auto& Registry = FTarnwickToolRegistry::Get();
	Registry.MarkNamespaceDisabled("editor", "off");
	Registry.UnregisterNamespace("editor");
	EXPECT_FALSE(Registry.GetNamespaceDisabledReason("editor"));
	EXPECT_TRUE(Registry.GetNamespaces().empty());
	EXPECT_TRUE(Registry.GetDisabledNamespaces().empty());
	// Started again, enabled: its actions run.
	Registry.RegisterAction("editor", "a", "", Echo(), nullptr, "");
	EXPECT_TRUE(Registry.ExecuteAction("editor", "a", nullptr).bSuccess);
}

TEST_F(ToolRegistryTest, EveryChangeToTheListingIsAnnounced)
{
	auto& Registry = FTarnwickToolRegistry::Get();
	int Changes = 0;
	const FDelegateHandle Handle = Registry.OnChanged.Add([&Changes] { ++Changes; });
	Registry.RegisterAction("editor", "a", "", Echo(), nullptr, "");
	EXPECT_EQ(Changes, 1);
	EXPECT_FALSE(Registry.RegisterAction("editor", "Bad Name", "", Echo(), nullptr, ""));
	EXPECT_EQ(Changes, 1) << "a refused registration changes nothing";
	Registry.SetAnnotations("editor", "a", FTarnwickToolAnnotations::ReadOnly());
	Registry.SetFamily("editor", "a", "logs");
	Registry.SetTitle("editor", "a", "A");
	EXPECT_EQ(Changes, 4);
	Registry.UnregisterNamespace("never_registered");
	EXPECT_EQ(Changes, 4) << "removing nothing is no change";
	Registry.UnregisterNamespace("editor");
	Registry.MarkNamespaceDisabled("editor", "off");
	EXPECT_EQ(Changes, 6);
	Registry.OnChanged.Remove(Handle);
}

TEST_F(ToolRegistryTest, ToolNamesResolveWithUnderscoreOrDot)
{
	auto& Registry = FTarnwickToolRegistry::Get();
	Registry.RegisterAction("editor_utility", "run", "", Echo(), nullptr, "");
	Registry.RegisterAction("editor", "get_recent_logs", "", Echo(), nullptr, "");
	ASSERT_TRUE(Registry.FindTool("editor_utility_run"));
	EXPECT_EQ(Registry.FindTool("editor_utility_run")->Namespace, "editor_utility");
	ASSERT_TRUE(Registry.FindTool("editor_utility.run"));
	EXPECT_EQ(Registry.FindTool("editor.get_recent_logs")->Action, "get_recent_logs");
	EXPECT_FALSE(Registry.FindTool("editor.run"));
}

TEST_F(ToolRegistryTest, RefusesNamesClientsWouldReject)
{
	auto& Registry = FTarnwickToolRegistry::Get();
	EXPECT_FALSE(Registry.RegisterAction("Editor", "x", "", Echo(), nullptr, ""));
	EXPECT_FALSE(Registry.RegisterAction("editor", "has.dot", "", Echo(), nullptr, ""));
	EXPECT_FALSE(Registry.RegisterAction("editor", "has-dash", "", Echo(), nullptr, ""));
	EXPECT_FALSE(Registry.RegisterAction("9lives", "x", "", Echo(), nullptr, ""));
	EXPECT_FALSE(Registry.RegisterAction("editor", std::string(58, 'a'), "", Echo(), nullptr, "")) << "65 characters";
	EXPECT_TRUE(Registry.RegisterAction("editor", std::string(57, 'a'), "", Echo(), nullptr, "")) << "64 characters";
	EXPECT_TRUE(Registry.GetActions("Editor").empty());
}

TEST_F(ToolRegistryTest, AnnotationsAndFamiliesAreStoredBesideTheSchema)
{
	auto& Registry = FTarnwickToolRegistry::Get();
	Registry.RegisterAction("editor", "tail_log", "", Echo(), nullptr, "");
	EXPECT_TRUE(Registry.SetAnnotations("editor", "tail_log", FTarnwickToolAnnotations::ReadOnly()));
	EXPECT_TRUE(Registry.SetFamily("editor", "tail_log", "logs"));
	EXPECT_FALSE(Registry.SetAnnotations("editor", "missing", {}));
	const auto Info = Registry.FindAction("editor", "tail_log");
	EXPECT_EQ(Info->Annotations.ReadOnlyHint, true);
	EXPECT_EQ(Info->Family, "logs");
}

#ifndef NDEBUG
TEST_F(ToolRegistryTest, DuplicateRegistrationStopsDebugBuilds)
{
	EXPECT_DEATH(
		{
			FTarnwickToolRegistry::Get().RegisterAction("editor", "a", "", Echo(), nullptr, "");
			FTarnwickToolRegistry::Get().RegisterAction("editor", "a", "", Echo(), nullptr, "");
		},
		"registered twice");
}
#else
TEST_F(ToolRegistryTest, DuplicateRegistrationIsRefusedInReleaseBuilds)
{
	auto& Registry = FTarnwickToolRegistry::Get();
	EXPECT_TRUE(Registry.RegisterAction("editor", "a", "first", Echo(), nullptr, ""));
	EXPECT_FALSE(Registry.RegisterAction("editor", "a", "second", Echo(), nullptr, ""));
	EXPECT_EQ(Registry.FindAction("editor", "a")->Description, "first");
}
#endif

TEST_F(ToolRegistryTest, NullParamsReachTheHandlerAsNull)
{
	// Handlers must cope with a null params pointer; the registry passes what it gets.
	auto& Registry = FTarnwickToolRegistry::Get();
	Registry.RegisterAction("editor", "echo", "", Echo(), nullptr, "");
	const auto R = Registry.ExecuteAction("editor", "echo", nullptr);
	EXPECT_EQ((*R.Result)["had_params"], false);
}

TEST(ActionResultTest, ConstructorsSetEveryField)
{
	const FTarnwickActionResult Ok(MakeJsonObject(FJson{{"a", 1}}));
	EXPECT_TRUE(Ok.bSuccess);
	EXPECT_EQ(Ok.ErrorCode, 0);
	EXPECT_TRUE(Ok.ErrorMessage.empty());
	const FTarnwickActionResult NullPayload(FJsonPtr{});
	ASSERT_TRUE(NullPayload.Result);
	EXPECT_TRUE(NullPayload.Result->is_object());

	const FTarnwickActionResult Err("boom", -32603);
	EXPECT_FALSE(Err.bSuccess);
	EXPECT_FALSE(Err.Result);
	EXPECT_FALSE(Err.ErrorData);
	EXPECT_EQ(Err.ErrorMessage, "boom");
	EXPECT_EQ(Err.ErrorCode, -32603);
}
