// The parts of the HTML report that describe one spec, shared by the single-session page and the suite page.
#pragma once
#include "HtmlReport.h"
#include "SmokeSuiteResult.h"

#include <cstddef>
#include <string>

namespace Tarnwick::Reports
{
/** The words of a spec's overall verdict: "PASS", "FAIL", "ERROR", "STOPPED", "RUNNING", "REFUSED", "UNREADABLE". */
std::string VerdictWord(const FSmokeSpecResult& Result);
/** The CSS class of that verdict: "pass", "fail" or "refused". */
const char* VerdictClass(const FSmokeSpecResult& Result);

/** The fragment id of the spec's section on a page. */
std::string SpecAnchor(const FSmokeSpecResult& Result);

/**
 * Appends the spec's <section>. FrameBudget is the number of bytes of clip frames the page may still embed; it
 * is shared by every section of a suite page and reduced by what this one embeds.
 */
void AppendSpecSection(std::string& Out, const FSmokeSpecResult& Result, const FHtmlOptions& Options, size_t& FrameBudget);
}
