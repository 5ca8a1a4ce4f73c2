// The sections of a spec's part of the HTML report, one file each, and the small helpers they share. Each
// section reads the report (and the spec) and appends HTML; none of them calls the editor.
#pragma once
#include "ExpectationView.h"
#include "HtmlReport.h"
#include "SmokeSuiteResult.h"
#include "SvgPlot.h"
#include "Timeline.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Tarnwick::Reports::Html
{
std::string Esc(std::string_view Text);
std::string Attr(std::string_view Text);
const char* PassClass(bool bPass);
/** A cell for an optional JSON member: its display value, or an en dash when absent. */
std::string Cell(const FJson& Object, std::string_view Key);
/** A verdict chip of the banner for the report's bool at Key. */
void Chip(std::string& Out, const char* Label, const FJson& Report, const char* Key);
/** A row of a two-column facts table; Value is HTML. */
void Row(std::string& Out, const char* Label, const std::string& Value, const char* Class = "");
/** Whether a stage's or probe's Python ran and failed. */
bool PythonFailed(const FJson& Script);

/** Fragment ids of a variable's plot and of an expectation's row, unique on a suite page. */
std::string VarAnchor(const FSmokeSpecResult& Result, const std::string& Var);
std::string ExpectationAnchor(const FSmokeSpecResult& Result, const std::string& Id);

void Banner(std::string& Out, const FSmokeSpecResult& Result);
void Refusal(std::string& Out, const FSmokeSpecResult& Result);
void SpecSource(std::string& Out, const FSmokeSpecResult& Result);
void Expectations(std::string& Out, const FSmokeSpecResult& Result, const std::vector<FExpectationView>& Views,
	const std::unordered_map<std::string, size_t>& VarIndex);
/** The input events, stages and probes of the report (unfired events at their due time), in time order. */
std::vector<FTimeMarker> CollectMarkers(const FSmokeSpecResult& Result);
/** The end of the shared time axis: the duration, the last row, the session's seconds or the last marker. */
double TimeAxisEnd(const FSmokeSpecResult& Result, const FTimeline& Timeline, const std::vector<FTimeMarker>& Markers);
void Plots(std::string& Out, const FSmokeSpecResult& Result, const FTimeline& Timeline, const std::vector<FExpectationView>& Views,
	const FPlotContext& Context);
void LogSection(std::string& Out, const FSmokeSpecResult& Result);
void DeterminismSection(std::string& Out, const FJson& Report);
void ResolutionSection(std::string& Out, const FJson& Report);
void InputSection(std::string& Out, const FJson& Report);
void ProfilingSection(std::string& Out, const FJson& Report);
/** The clip's frames; FrameBudget is what the page may still embed and is reduced by what this embeds. */
void ClipSection(std::string& Out, const FSmokeSpecResult& Result, size_t& FrameBudget);
}
