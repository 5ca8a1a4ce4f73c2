// Modal dialogs and ensures: FCoreDelegates::PreSlateModalWithContext / PostSlateModalWithContext, which the
// host broadcasts around every modal dialog it opens, and the ensure handler (SetEnsureHandler), which the
// host consults when an ensure fires on a thread.
//
// The editor module records open modals (a modal on the game thread blocks every action until it closes)
// and filters known-noise ensures on the render thread. Delegates are bound and broadcast on the game
// thread; the ensure handler is called on the thread that fired the ensure, so it must be thread-safe.
#pragma once
#include "Delegates.h"

#include <functional>
#include <string>

/** What a modal dialog shows (the engine's FSlateModalContext, reduced). */
struct FSlateModalContext
{
	/** Unique per opened modal; a pre and its post share it. */
	uint64 ModalId = 0;
	std::string Title;
	std::string Text;
	/** "true", "false" or "unknown": whether the modal is a slow-task progress dialog. */
	std::string SlowTask = "unknown";
};

struct FCoreDelegates
{
	static TMulticastDelegate<const FSlateModalContext&> PreSlateModalWithContext;
	static TMulticastDelegate<const FSlateModalContext&> PostSlateModalWithContext;
};

/** Returns true when the handler dealt with the ensure (it is then not reported further). */
using FEnsureHandler = std::function<bool(const std::string& EnsureText)>;

/** Installs the process's ensure handler and returns the previous one (empty when none). Thread-safe. */
FEnsureHandler SetEnsureHandler(FEnsureHandler Handler);
/** Hands an ensure to the installed handler; false when none is installed or it did not handle it. */
bool HandleEnsure(const std::string& EnsureText);
