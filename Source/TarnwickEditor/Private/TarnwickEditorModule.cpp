#include "TarnwickEditorModule.h"

#include "Catalogue/TarnwickCatalogueRegistration.h"
#include "ModalHooks.h"
#include "PlatformTime.h"
#include "RenderingThread.h"
#include "TarnwickDiagnostics.h"
#include "TarnwickEditorHandlers.h"
#include "TarnwickLog.h"
#include "TarnwickLogCapture.h"
#include "TarnwickPromptRegistry.h"
#include "TarnwickResourceRegistry.h"
#include "TarnwickSettings.h"
#include "TarnwickToolRegistry.h"

#include <atomic>
#include <mutex>

namespace
{
constexpr const char* EditorNamespace = "editor";
constexpr const char* EditorUtilityNamespace = "editor_utility";
constexpr const char* DisabledReason =
	"editor namespace disabled by user — enable in Project Settings → Plugins → Brindle → Modules → Enable Editor.";

std::atomic<FTarnwickLogCapture*> GLogCapture{nullptr};

// The ensure handler that was in place before ours; set and read on the render thread, reset at shutdown.
std::mutex GEnsureMutex;
FEnsureHandler GPreviousEnsureHandler;
std::atomic<bool> GEnsureFilterInstalled{false};

// The settings page and the onboarding prompts (the .mcp.json entry and the agent skill files) belong to the
// real editor's UI; the simulated editor has none. These seams keep their place in the start-up order.
void InstallOnboardingHooks() {}
void RemoveOnboardingHooks() {}
void RegisterSettingsCustomization() {}
void UnregisterSettingsCustomization() {}

// The dispatcher asks this after every action; the diagnostics it attaches arrive with the diagnostics work.
void AttachDispatchDiagnostics(const std::string&, const std::string&, double, FJson&) {}

FTarnwickHandlerTable BuildHandlerTable(FTarnwickLogCapture* Capture)
{
	FTarnwickHandlerTable Table;
	Tarnwick::Editor::AddLogHandlers(Table, Capture);
	Tarnwick::Editor::AddPieHandlers(Table);
	Tarnwick::Editor::AddViewportHandlers(Table);
	Tarnwick::Editor::AddPieSmokeHandlers(Table, Capture);
	return Table;
}
}

namespace Tarnwick::Editor
{
bool FilterRenderThreadEnsure(const std::string& EnsureText, const std::function<bool(const std::string&)>& Previous)
{
	// Shader precaching fires these by the hundred; they are known noise, not crashes in the making.
	if (EnsureText.find("ShouldPrecachePermutation") != std::string::npos)
	{
		return true;
	}
	return Previous ? Previous(EnsureText) : false;
}

bool IsRenderThreadEnsureFilterInstalled()
{
	return GEnsureFilterInstalled.load();
}
}

FTarnwickEditorModule::FTarnwickEditorModule() = default;

FTarnwickEditorModule::~FTarnwickEditorModule()
{
	// A module destroyed without an orderly shutdown must not leave a dangling device in the global log.
	if (LogCapture) ShutdownModule();
}

FTarnwickLogCapture* FTarnwickEditorModule::GetGlobalLogCapture()
{
	return GLogCapture.load();
}

void FTarnwickEditorModule::StartupModule()
{
	InstallOnboardingHooks();

	if (!UTarnwickSettings::Get().bEnableEditor)
	{
		FTarnwickToolRegistry::Get().MarkNamespaceDisabled(EditorNamespace, DisabledReason);
		return;
	}

	LogCapture = std::make_unique<FTarnwickLogCapture>();
	GLog->AddOutputDevice(LogCapture.get());
	GLogCapture.store(LogCapture.get());

	Tarnwick::Diagnostics::GAttachDispatchDiagnostics = &AttachDispatchDiagnostics;
	bDiagnosticsBound = true;

	using Tarnwick::Editor::RegisterCatalogueGroup;
	const FTarnwickHandlerTable Handlers = BuildHandlerTable(LogCapture.get());
	RegisterCatalogueGroup(ETarnwickRegistrationGroup::EditorMain, Handlers);
	RegisterCatalogueGroup(ETarnwickRegistrationGroup::EditorReflection, Handlers);
	RegisterCatalogueGroup(ETarnwickRegistrationGroup::EditorUtility, Handlers);
	RegisterCatalogueGroup(ETarnwickRegistrationGroup::EditorMapsAndModules, Handlers);
	RegisterCatalogueGroup(ETarnwickRegistrationGroup::EditorStats, Handlers);
	RegisterSettingsCustomization();

	TW_LOG(LogTarnwick, Log, "Brindle — Editor module loaded (%d actions, %d resources, %d prompts)",
		static_cast<int>(FTarnwickToolRegistry::Get().GetActions(EditorNamespace).size()),
		static_cast<int>(FTarnwickResourceRegistry::Get().Num()), static_cast<int>(FTarnwickPromptRegistry::Get().Num()));

	EnqueueRenderCommand("TarnwickInstallRTEnsureHandler", [] {
		std::lock_guard Lock(GEnsureMutex);
		GPreviousEnsureHandler = SetEnsureHandler([](const std::string& Text) {
			FEnsureHandler Previous;
			{
				std::lock_guard Inner(GEnsureMutex);
				Previous = GPreviousEnsureHandler;
			}
			return Tarnwick::Editor::FilterRenderThreadEnsure(Text, Previous);
		});
		GEnsureFilterInstalled.store(true);
	});
	bEnsureInstallEnqueued = true;

	PreModalHandle = FCoreDelegates::PreSlateModalWithContext.Add([this](const FSlateModalContext& Context) {
		OpenModals[Context.ModalId] = FTarnwickOpenModal{Context.Title, Context.Text, Context.SlowTask, FPlatformTime::Seconds()};
	});
	PostModalHandle = FCoreDelegates::PostSlateModalWithContext.Add(
		[this](const FSlateModalContext& Context) { OpenModals.erase(Context.ModalId); });
}

void FTarnwickEditorModule::ShutdownModule()
{
	RemoveOnboardingHooks();
	FTarnwickPromptRegistry::Get().UnregisterAll();
	FTarnwickResourceRegistry::Get().UnregisterAll();
	FTarnwickToolRegistry::Get().UnregisterNamespace(EditorUtilityNamespace);
	if (PreModalHandle.IsValid())
	{
		FCoreDelegates::PreSlateModalWithContext.Remove(PreModalHandle);
		PreModalHandle.Reset();
	}
	if (PostModalHandle.IsValid())
	{
		FCoreDelegates::PostSlateModalWithContext.Remove(PostModalHandle);
		PostModalHandle.Reset();
	}
	OpenModals.clear();
	FTarnwickToolRegistry::Get().UnregisterNamespace(EditorNamespace);
	Tarnwick::Editor::ShutdownPieSmoke();
	UnregisterSettingsCustomization();
	if (bDiagnosticsBound)
	{
		Tarnwick::Diagnostics::GAttachDispatchDiagnostics = nullptr;
		bDiagnosticsBound = false;
	}
	// The install command may still be waiting on the render thread when shutdown follows start-up closely;
	// deciding before it ran would leave our filter installed for good.
	if (bEnsureInstallEnqueued)
	{
		FlushRenderingCommands();
		bEnsureInstallEnqueued = false;
	}
	if (GEnsureFilterInstalled.load())
	{
		EnqueueRenderCommand("TarnwickRestoreRTEnsureHandler", [] {
			std::lock_guard Lock(GEnsureMutex);
			SetEnsureHandler(GPreviousEnsureHandler);
			GPreviousEnsureHandler = nullptr;
			GEnsureFilterInstalled.store(false);
		});
		FlushRenderingCommands();
	}
	if (LogCapture)
	{
		GLogCapture.store(nullptr);
		GLog->RemoveOutputDevice(LogCapture.get());
		LogCapture.reset();
	}
}
