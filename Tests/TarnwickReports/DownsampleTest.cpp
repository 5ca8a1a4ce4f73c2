#include "Downsample.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace Tarnwick::Reports
{
namespace
{
FVarSeries BoolSeries(const std::vector<double>& T, const std::vector<double>& V, std::vector<size_t> Segments = {0})
{
	FVarSeries Series;
	Series.Kind = EValueKind::Bool;
	Series.T = T;
	Series.V = V;
	Series.SegmentStarts = std::move(Segments);
	return Series;
}
}

TEST(DownsampleLine, ShortSeriesAreDrawnWhole)
{
	const std::vector<double> T = {0, 1, 2, 3, 4};
	const std::vector<double> V = {5, 4, 3, 2, 1};
	EXPECT_EQ(DownsampleLine(T, V, 1, 4, 0, 4, 10), (std::vector<size_t>{1, 2, 3}));
}

TEST(DownsampleLine, KeepsEveryBucketsExtremesAndTheForcedSample)
{
	constexpr size_t N = 100000;
	std::vector<double> T(N);
	std::vector<double> V(N);
	for (size_t I = 0; I < N; ++I)
	{
		T[I] = static_cast<double>(I) * 0.001;
		V[I] = std::sin(T[I] * 3.0);
	}
	V[4242] = 50.0;   // a one-sample spike
	V[77777] = -50.0; // and a dip
	const size_t Forced = 31337;
	const std::vector<size_t> Keep = {Forced};
	const std::vector<size_t> Picks = DownsampleLine(T, V, 0, N, T.front(), T.back(), 200, Keep);

	EXPECT_LE(Picks.size(), 200u * 4 + 1);
	EXPECT_TRUE(std::is_sorted(Picks.begin(), Picks.end()));
	EXPECT_EQ(std::adjacent_find(Picks.begin(), Picks.end()), Picks.end());
	EXPECT_TRUE(std::binary_search(Picks.begin(), Picks.end(), 4242u));
	EXPECT_TRUE(std::binary_search(Picks.begin(), Picks.end(), 77777u));
	EXPECT_TRUE(std::binary_search(Picks.begin(), Picks.end(), Forced));
	// The line still starts and ends where the data does.
	EXPECT_EQ(Picks.front(), 0u);
	EXPECT_EQ(Picks.back(), N - 1);
	// Every bucket's lowest and highest value survive, so the drawn range equals the data's.
	double Lo = 1e9;
	double Hi = -1e9;
	for (const size_t I : Picks)
	{
		Lo = std::min(Lo, V[I]);
		Hi = std::max(Hi, V[I]);
	}
	EXPECT_EQ(Lo, -50.0);
	EXPECT_EQ(Hi, 50.0);
}

TEST(DownsampleLine, ForcedSamplesOutsideTheRangeAreIgnored)
{
	std::vector<double> T(1000);
	std::vector<double> V(1000, 1.0);
	for (size_t I = 0; I < T.size(); ++I)
	{
		T[I] = static_cast<double>(I);
	}
	const std::vector<size_t> Keep = {5, 995};
	const std::vector<size_t> Picks = DownsampleLine(T, V, 100, 900, 0, 999, 10, Keep);
	EXPECT_GE(Picks.front(), 100u);
	EXPECT_LT(Picks.back(), 900u);
}

TEST(TrueBands, HeldValuesAndTheEndOfTheRun)
{
	// Read at 1 Hz: true from t=1 until the false read at t=3; true again from t=4 to the end of the session.
	const FVarSeries Series = BoolSeries({0, 1, 2, 3, 4}, {0, 1, 1, 0, 1});
	const std::vector<FBand> Bands = TrueBands(Series, 6.0, 0.01);
	ASSERT_EQ(Bands.size(), 2u);
	EXPECT_DOUBLE_EQ(Bands[0].From, 1.0);
	EXPECT_DOUBLE_EQ(Bands[0].To, 3.0);
	EXPECT_DOUBLE_EQ(Bands[1].From, 4.0);
	EXPECT_DOUBLE_EQ(Bands[1].To, 6.0);
	EXPECT_DOUBLE_EQ(Bands[1].TrueShare, 1.0);
}

TEST(TrueBands, AGapInSamplingEndsABand)
{
	// Not sampled between 1 and 5 (two segments): the first band must not stretch across the gap.
	const FVarSeries Series = BoolSeries({0, 1, 5, 6}, {1, 1, 1, 0}, {0, 2});
	const std::vector<FBand> Bands = TrueBands(Series, 7.0, 0.01);
	ASSERT_EQ(Bands.size(), 2u);
	EXPECT_DOUBLE_EQ(Bands[0].To, 1.0);
	EXPECT_DOUBLE_EQ(Bands[1].From, 5.0);
	EXPECT_DOUBLE_EQ(Bands[1].To, 6.0);
}

TEST(TrueBands, FlickerNarrowerThanABucketMergesWithItsShare)
{
	std::vector<double> T;
	std::vector<double> V;
	for (int I = 0; I < 10000; ++I)
	{
		T.push_back(I * 0.001);
		V.push_back(I % 2 == 0 ? 1.0 : 0.0);
	}
	const std::vector<FBand> Bands = TrueBands(BoolSeries(T, V), 10.0, 0.05);
	ASSERT_EQ(Bands.size(), 1u);
	EXPECT_NEAR(Bands[0].TrueShare, 0.5, 0.01);
}

TEST(StateSpans, LongRunsStayAndFastChangesGather)
{
	FVarSeries Series;
	Series.Kind = EValueKind::String;
	Series.States = {"Idle", "Walking", "Running"};
	Series.SegmentStarts = {0};
	// Idle 0-2, then Walking/Running alternate every 0.01 s until 3, then Running to the end.
	Series.T = {0.0};
	Series.V = {0};
	for (int I = 0; I < 100; ++I)
	{
		Series.T.push_back(2.0 + I * 0.01);
		Series.V.push_back(I % 2 == 0 ? 1 : 2);
	}
	Series.T.push_back(3.0);
	Series.V.push_back(2);
	const std::vector<FStateSpan> Spans = StateSpans(Series, 5.0, 0.1);
	ASSERT_EQ(Spans.size(), 3u);
	EXPECT_EQ(Spans[0].State, 0);
	EXPECT_DOUBLE_EQ(Spans[0].To, 2.0);
	EXPECT_EQ(Spans[1].State, -1);
	EXPECT_GE(Spans[1].Changes, 90);
	EXPECT_EQ(Spans[2].State, 2);
	EXPECT_DOUBLE_EQ(Spans[2].To, 5.0);
}

TEST(StateSpans, ARepeatedReadOfOneStateIsOneSpan)
{
	FVarSeries Series;
	Series.Kind = EValueKind::String;
	Series.States = {"Walking"};
	Series.SegmentStarts = {0};
	Series.T = {0, 1, 2, 3};
	Series.V = {0, 0, 0, 0};
	const std::vector<FStateSpan> Spans = StateSpans(Series, 4.0, 0.1);
	ASSERT_EQ(Spans.size(), 1u);
	EXPECT_EQ(Spans[0].Changes, 0);
	EXPECT_DOUBLE_EQ(Spans[0].To, 4.0);
}
}
