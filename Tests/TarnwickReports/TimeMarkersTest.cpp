#include "HtmlParts.h"

#include <gtest/gtest.h>

namespace Tarnwick::Reports
{
TEST(TimeMarkers, EventsStagesAndProbesInTimeOrderWithWhatWentWrong)
{
	FSmokeSpecResult Result;
	Result.Spec = FJson::parse(R"({"input_events": [
		{"at_seconds": 1.0, "event": "DOWN", "key": "W"},
		{"at_seconds": 2.0, "event": "click", "x": 10, "y": 20, "button": "left"},
		{"at_seconds": 3.0, "key": "E"}]})");
	Result.Report = FJson::parse(R"({
		"input_events": [
			{"at_seconds": 1.0, "event": "down", "key": "W", "fired": true, "fired_at_seconds": 1.0166, "ok": true},
			{"at_seconds": 2.0, "event": "click", "key": "", "fired": true, "fired_at_seconds": 2.0, "ok": false, "error": "No PIE viewport"},
			{"at_seconds": 3.0, "event": "press", "key": "E", "fired": false, "fired_at_seconds": -1, "ok": false}],
		"stages": {"pre_pie": {"fired": true, "fired_at_seconds": 0}, "after_n_ticks": {"fired": false, "fired_at_seconds": -1},
			"on_begin_play": {"fired": true, "fired_at_seconds": 0, "python_ok": false, "python_output": "NameError: x"}},
		"probes": [{"at_seconds": 0.5, "fired": true, "fired_at_seconds": 0.5, "python_ok": false, "python_output": ""}]})");
	const std::vector<FTimeMarker> Markers = Html::CollectMarkers(Result);
	ASSERT_EQ(Markers.size(), 6u);
	EXPECT_EQ(Markers[0].Label, "pre_pie");
	EXPECT_FALSE(Markers[0].bFailed);
	EXPECT_EQ(Markers[1].Label, "on_begin_play");
	EXPECT_TRUE(Markers[1].bFailed);
	// A console-only probe is not a Python failure.
	EXPECT_EQ(Markers[2].Label, "probe 0");
	EXPECT_FALSE(Markers[2].bFailed);
	EXPECT_EQ(Markers[3].Label, "W↓");
	EXPECT_DOUBLE_EQ(Markers[3].T, 1.0166);
	EXPECT_EQ(Markers[4].Label, "click left");
	EXPECT_TRUE(Markers[4].bFailed);
	EXPECT_EQ(Markers[4].Title, "input_events[1]: click at (10, 20), fired t=2.00s and failed: No PIE viewport");
	// Never fired: drawn at its due time, marked failed.
	EXPECT_DOUBLE_EQ(Markers[5].T, 3.0);
	EXPECT_TRUE(Markers[5].bFailed);
	EXPECT_EQ(Markers[5].Title, "input_events[2]: press E, due t=3.00s, never fired");
}

TEST(TimeMarkers, ARefusedOrRunningSessionShowsTheSpecsSchedule)
{
	FSmokeSpecResult Result;
	Result.Spec = FJson::parse(R"({"input_events": [{"at_seconds": -2, "event": "up", "key": "W"}]})");
	const std::vector<FTimeMarker> Markers = Html::CollectMarkers(Result);
	ASSERT_EQ(Markers.size(), 1u);
	EXPECT_DOUBLE_EQ(Markers[0].T, 0.0);
	EXPECT_EQ(Markers[0].Title, "input_events[0]: up W, due t=0.00s");
}
}
