// The editor module: everything Tarnwick adds to the editor is installed by StartupModule and removed again,
// in reverse, by ShutdownModule. The host calls both on the game thread (the engine's module manager does;
// here the executable and the tests).
//
// Start-up order matters to callers: the log capture is added to the global log before anything registers,
// so every later line (including the start-up line) is captured; the actions come next; the engine hooks
// last. With the editor namespace disabled in the settings, only the disabled mark is left behind, and
// shutdown then touches nothing else.
#pragma once
#include "Delegates.h"
#include "HostTypes.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

class FTarnwickLogCapture;

/** A modal dialog open right now, as the pre-modal hook saw it. */
struct FTarnwickOpenModal
{
	std::string Title;
	std::string Text;
	/** "true", "false" or "unknown". */
	std::string SlowTask;
	/** Host clock seconds when it opened. */
	double OpenTime = 0.0;
};

class FTarnwickEditorModule
{
public:
	FTarnwickEditorModule();
	~FTarnwickEditorModule();

	void StartupModule();
	void ShutdownModule();

	/** Null before start-up, after shutdown, or when the namespace is disabled. */
	FTarnwickLogCapture* GetLogCapture() const { return LogCapture.get(); }
	const std::map<uint64, FTarnwickOpenModal>& GetOpenModals() const { return OpenModals; }

	/** The running module's log capture (the module-global the handlers and later readers use), or null. */
	static FTarnwickLogCapture* GetGlobalLogCapture();

private:
	std::unique_ptr<FTarnwickLogCapture> LogCapture;
	FDelegateHandle PreModalHandle;
	FDelegateHandle PostModalHandle;
	std::map<uint64, FTarnwickOpenModal> OpenModals;
	bool bDiagnosticsBound = false;
	/** The render command that installs the ensure filter was enqueued (it may not have run yet). */
	bool bEnsureInstallEnqueued = false;
};

namespace Tarnwick::Editor
{
/** The render-thread ensure filter: swallows shader-precache noise, hands every other ensure to Previous. */
bool FilterRenderThreadEnsure(const std::string& EnsureText, const std::function<bool(const std::string&)>& Previous);
/** True while the filter is installed on the render thread. */
bool IsRenderThreadEnsureFilterInstalled();
}
