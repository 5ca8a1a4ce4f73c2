// The HTML report: one self-contained page (inline CSS and SVG, no script, no network) that shows a session's
// verdicts, a plot per sampled variable with its expectations drawn on it, the log buckets, the determinism
// block and a clip's frames. The suite page puts a table of specs above the same sections for each spec.
#pragma once
#include "SmokeSuiteResult.h"

#include <cstddef>
#include <string>

namespace Tarnwick::Reports
{
struct FHtmlOptions
{
	/** Time buckets per plot; each keeps its first, lowest, highest and last sample. */
	int PlotBuckets = 400;
	/** Budget for clip frames embedded as images, over the whole page; frames past it are listed by path. */
	size_t MaxEmbeddedFrameBytes = 768 * 1024;
};

std::string WriteSessionHtml(const FSmokeSpecResult& Result, const FHtmlOptions& Options = {});
std::string WriteSuiteHtml(const FSmokeSuite& Suite, const FHtmlOptions& Options = {});
}
