// `tarnwick smoke` over one spec or a suite: spec files, or folders of them, run one after another in this
// process, each session from a fresh PIE on the virtual clock; then the reports as JSON, the JUnit file and the
// HTML page.
#pragma once
#include "Logging.h"
#include "SimHost.h"
#include "SmokeSuiteResult.h"
#include "TarnwickJson.h"
#include "TarnwickProgram.h"

#include <functional>
#include <string>

namespace Tarnwick::Program
{
/** The editor the specs run on, and the log device that prints its lines on stderr. */
struct FSmokeEditor
{
	/** Null when the editor could not start (having said why). */
	Sim::FSimHost* Host = nullptr;
	FOutputDevice* StdErr = nullptr;
	/** The most verbose level StdErr prints. */
	ELogVerbosity::Type StdErrVerbosity = ELogVerbosity::Warning;
};

using FStartEditor = std::function<FSmokeEditor()>;

/**
 * 0 when every session is ok, 1 when any is not, 2 when any spec was refused or could not be read, or an output
 * file could not be written. The editor is started only when at least one spec could be read.
 */
int RunSmokeSuite(const FSmokeOptions& Options, const FStartEditor& StartEditor);

/**
 * True when --report names one file (a single spec file was given) rather than a folder that gets a report per
 * spec (a folder, or several specs, were given).
 */
bool IsSingleSpecRun(const std::vector<std::string>& SpecArguments);

/** The report file of one spec: its report, or its refusal as {"error": {code, message, data}}. */
FJson ReportFileJson(const Reports::FSmokeSpecResult& Spec);

/** Why the output paths cannot be used, or "" when they can; checked before anything runs. */
std::string CheckSmokeOutputs(const FSmokeOptions& Options);
}
