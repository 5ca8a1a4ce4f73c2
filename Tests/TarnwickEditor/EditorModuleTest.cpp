#include "TarnwickTestHelpers.h"

#include "ModalHooks.h"
#include "RenderingThread.h"
#include "SimHost.h"
#include "TarnwickDiagnostics.h"
#include "TarnwickEditorLog.h"
#include "TarnwickEditorModule.h"
#include "TarnwickLogCapture.h"

using Tarnwick::Test::FTempDir;

namespace
{
/** A copy of the Arena project whose settings file the test writes. */
class EditorModuleTest : public Tarnwick::Test::FRegistryTest
{
protected:
	void SetUp() override
	{
		FRegistryTest::SetUp();
		std::filesystem::copy(std::string(TARNWICK_SOURCE_DIR) + "/Samples/Arena", Project.Get(),
			std::filesystem::copy_options::recursive | std::filesystem::copy_options::overwrite_existing);
	}
	void TearDown() override
	{
		Host.reset();
		FRegistryTest::TearDown();
	}
	void StartHost(const std::string& Settings = "")
	{
		if (!Settings.empty())
		{
			Project.Write("Config/DefaultTarnwick.ini", "[/Script/TarnwickCore.TarnwickSettings]\n" + Settings + "\n");
		}
		Tarnwick::Sim::FSimHostOptions Options;
		Options.ProjectDir = Project.Str();
		Options.ClockMode = Tarnwick::Sim::ESimClockMode::Virtual;
		std::string Error;
		Host = Tarnwick::Sim::FSimHost::Create(Options, &Error);
		ASSERT_TRUE(Host) << Error;
	}

	FTempDir Project;
	std::unique_ptr<Tarnwick::Sim::FSimHost> Host;
};
}

TEST_F(EditorModuleTest, StartupCapturesFirstThenRegistersEveryGroup)
{
	StartHost();
	FTarnwickEditorModule Module;
	Module.StartupModule();
	FTarnwickLogCapture* Capture = Module.GetLogCapture();
	ASSERT_TRUE(Capture);
	EXPECT_EQ(FTarnwickEditorModule::GetGlobalLogCapture(), Capture);
	EXPECT_TRUE(GLog->IsRedirectingTo(Capture));
	EXPECT_TRUE(Tarnwick::Diagnostics::GAttachDispatchDiagnostics);

	auto& Registry = FTarnwickToolRegistry::Get();
	EXPECT_EQ(Registry.GetActions("editor").size(), 75u);
	EXPECT_EQ(Registry.GetActions("editor_utility").size(), 14u);
	EXPECT_EQ(Registry.GetActions("editor").front().Action, "trigger_build");
	EXPECT_EQ(Registry.GetActions("editor").back().Action, "get_stat_group_values");

	// The start-up line counts the editor namespace only, and the capture saw it.
	const auto Lines = Capture->Search("Editor module loaded", "", ELogVerbosity::All, 10);
	ASSERT_EQ(Lines.size(), 1u);
	EXPECT_EQ(Lines[0].Message, "Brindle — Editor module loaded (75 actions, 0 resources, 0 prompts)");
	EXPECT_EQ(Lines[0].Category.ToString(), "LogTarnwick");

	// The log actions read this module's capture through the registry.
	const FTarnwickActionResult Stats = Registry.ExecuteAction("editor", "get_log_stats", nullptr);
	ASSERT_TRUE(Stats.bSuccess);
	EXPECT_GE((*Stats.Result)["total"].get<int>(), 1);

	Module.ShutdownModule();
	EXPECT_FALSE(GLog->IsRedirectingTo(Capture)) << "the capture leaves the global log last";
	EXPECT_FALSE(Module.GetLogCapture());
	EXPECT_FALSE(FTarnwickEditorModule::GetGlobalLogCapture());
	EXPECT_FALSE(Tarnwick::Diagnostics::GAttachDispatchDiagnostics);
	EXPECT_TRUE(Registry.GetActions("editor").empty());
	EXPECT_TRUE(Registry.GetActions("editor_utility").empty());
}

TEST_F(EditorModuleTest, DisabledNamespaceLeavesOnlyTheMarkAndShutsDownCleanly)
{
	StartHost("bEnableEditor=False");
	Host->GetRenderThread().Flush();
	FTarnwickEditorModule Module;
	Module.StartupModule();
	auto& Registry = FTarnwickToolRegistry::Get();
	EXPECT_EQ(Registry.GetNamespaceDisabledReason("editor"),
		"editor namespace disabled by user — enable in Project Settings → Plugins → Brindle → Modules → Enable Editor.");
	EXPECT_TRUE(Registry.GetActions("editor").empty());
	EXPECT_TRUE(Registry.GetActions("editor_utility").empty());
	EXPECT_EQ(FTarnwickResourceRegistry::Get().Num(), 0);
	EXPECT_EQ(FTarnwickPromptRegistry::Get().Num(), 0);
	EXPECT_FALSE(Module.GetLogCapture());
	EXPECT_FALSE(Tarnwick::Diagnostics::GAttachDispatchDiagnostics);
	FlushRenderingCommands();
	EXPECT_FALSE(Tarnwick::Editor::IsRenderThreadEnsureFilterInstalled());

	const FTarnwickActionResult R = Registry.ExecuteAction("editor", "get_recent_logs", nullptr);
	EXPECT_EQ(R.ErrorMessage, *Registry.GetNamespaceDisabledReason("editor"));

	const size_t Modal = FCoreDelegates::PreSlateModalWithContext.Num();
	Module.ShutdownModule();
	EXPECT_EQ(FCoreDelegates::PreSlateModalWithContext.Num(), Modal);
}

TEST_F(EditorModuleTest, RenderThreadEnsureFilterSwallowsPrecacheNoiseOnly)
{
	EXPECT_TRUE(Tarnwick::Editor::FilterRenderThreadEnsure("Ensure failed: ShouldPrecachePermutation(x)", nullptr));
	EXPECT_FALSE(Tarnwick::Editor::FilterRenderThreadEnsure("Ensure failed: Other", nullptr));
	std::vector<std::string> Passed;
	const auto Previous = [&](const std::string& Text) { Passed.push_back(Text); return true; };
	EXPECT_TRUE(Tarnwick::Editor::FilterRenderThreadEnsure("Ensure failed: Other", Previous));
	EXPECT_TRUE(Tarnwick::Editor::FilterRenderThreadEnsure("ShouldPrecachePermutation", Previous));
	EXPECT_EQ(Passed, std::vector<std::string>{"Ensure failed: Other"});

	StartHost();
	std::vector<std::string> Earlier;
	const FEnsureHandler Original = SetEnsureHandler([&](const std::string& Text) { Earlier.push_back(Text); return false; });
	{
		FTarnwickEditorModule Module;
		Module.StartupModule();
		FlushRenderingCommands();
		EXPECT_TRUE(Tarnwick::Editor::IsRenderThreadEnsureFilterInstalled());
		EXPECT_TRUE(HandleEnsure("LogShaders: ShouldPrecachePermutation failed"));
		EXPECT_FALSE(HandleEnsure("Array index out of bounds"));
		EXPECT_EQ(Earlier, std::vector<std::string>{"Array index out of bounds"}) << "other ensures reach the earlier handler";
		Module.ShutdownModule();
		EXPECT_FALSE(Tarnwick::Editor::IsRenderThreadEnsureFilterInstalled());
	}
	EXPECT_FALSE(HandleEnsure("ShouldPrecachePermutation after shutdown"));
	EXPECT_EQ(Earlier.size(), 2u) << "the earlier handler is back in place";
	SetEnsureHandler(Original);
}

TEST_F(EditorModuleTest, ShutdownRightAfterStartupNeverLeavesTheEnsureFilterInstalled)
{
	StartHost();
	const FEnsureHandler Original = SetEnsureHandler(nullptr);
	// The install command runs on the render thread while start-up returns; a shutdown that looked before it ran
	// would leave the filter in place. Many quick cycles give the race every chance to show.
	for (int Cycle = 0; Cycle < 300; ++Cycle)
	{
		FTarnwickEditorModule Module;
		Module.StartupModule();
		Module.ShutdownModule();
		FlushRenderingCommands();
		ASSERT_FALSE(Tarnwick::Editor::IsRenderThreadEnsureFilterInstalled()) << "cycle " << Cycle;
		ASSERT_FALSE(HandleEnsure("ShouldPrecachePermutation")) << "cycle " << Cycle << ": the filter still swallows";
	}
	SetEnsureHandler(Original);
}

TEST_F(EditorModuleTest, ADisabledStartLeavesNoMarkOnceShutDown)
{
	StartHost("bEnableEditor=False");
	{
		FTarnwickEditorModule Module;
		Module.StartupModule();
		ASSERT_TRUE(FTarnwickToolRegistry::Get().GetNamespaceDisabledReason("editor"));
		Module.ShutdownModule();
	}
	EXPECT_FALSE(FTarnwickToolRegistry::Get().GetNamespaceDisabledReason("editor"));
	Host.reset();

	StartHost("bEnableEditor=True");
	FTarnwickEditorModule Module;
	Module.StartupModule();
	const FTarnwickActionResult R = FTarnwickToolRegistry::Get().ExecuteAction("editor", "get_log_stats", nullptr);
	EXPECT_TRUE(R.bSuccess) << R.ErrorMessage;
	Module.ShutdownModule();
}

TEST(EditorModuleLogTest, TheModuleDeclaresItsThreeCategories)
{
	for (const FLogCategory* Category : {&LogTarnwickPieSmoke, &LogTarnwickPreviewActions, &LogTarnwickStat})
	{
		EXPECT_EQ(Category->GetVerbosity(), ELogVerbosity::Log) << Category->GetName();
	}
	EXPECT_EQ(LogTarnwickPieSmoke.GetName(), "LogTarnwickPieSmoke");
	EXPECT_EQ(LogTarnwickPreviewActions.GetName(), "LogTarnwickPreviewActions");
	EXPECT_EQ(LogTarnwickStat.GetName(), "LogTarnwickStat");
}

TEST_F(EditorModuleTest, ModalHooksTrackOpenDialogsUntilShutdown)
{
	StartHost();
	FTarnwickEditorModule Module;
	Module.StartupModule();
	FCoreDelegates::PreSlateModalWithContext.Broadcast(FSlateModalContext{7, "Message", "Blueprint compile errors", "false"});
	ASSERT_EQ(Module.GetOpenModals().size(), 1u);
	EXPECT_EQ(Module.GetOpenModals().at(7).Title, "Message");
	FCoreDelegates::PostSlateModalWithContext.Broadcast(FSlateModalContext{7, "Message", "", "false"});
	EXPECT_TRUE(Module.GetOpenModals().empty());

	FCoreDelegates::PreSlateModalWithContext.Broadcast(FSlateModalContext{8, "Open", "", "unknown"});
	const size_t Bound = FCoreDelegates::PreSlateModalWithContext.Num();
	Module.ShutdownModule();
	EXPECT_TRUE(Module.GetOpenModals().empty());
	EXPECT_EQ(FCoreDelegates::PreSlateModalWithContext.Num(), Bound - 1);
}

TEST_F(EditorModuleTest, PendingActionsAnswerNotImplemented)
{
	StartHost();
	FTarnwickEditorModule Module;
	Module.StartupModule();
	const FTarnwickActionResult R = FTarnwickToolRegistry::Get().ExecuteAction("editor_utility", "run", nullptr);
	EXPECT_EQ(R.ErrorCode, -32603);
	EXPECT_EQ(R.ErrorMessage, "editor_utility.run is not implemented yet");
	Module.ShutdownModule();
}
