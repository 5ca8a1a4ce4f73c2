// The retained-row store gives back exactly what was recorded: every kind, values that repeat their variable's
// last value (stored as a header only), values that change kind, rows of different widths, and enough rows to
// cross many chunk boundaries, where a value that does not fit moves to the next chunk.
#include "Sampling/SampleRows.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Tarnwick::Sampling;

namespace
{
FJson Expected(const FSampleValue& V)
{
	switch (V.Kind)
	{
	case ESampleKind::Bool: return V.bBool;
	case ESampleKind::Number: return V.Number;
	case ESampleKind::String:
	case ESampleKind::Object: return V.String;
	case ESampleKind::Vector:
	case ESampleKind::Rotator: return FJson::array({V.X, V.Y, V.Z});
	case ESampleKind::Json: return V.Json;
	case ESampleKind::Missing: return nullptr;
	}
	return nullptr;
}

/** Variable Var's value on row R: each variable repeats for a while, then changes, at its own pace. */
FSampleValue ValueOf(int Var, int R)
{
	const int Step = R / (Var + 1);
	switch (Var)
	{
	case 0: return FSampleValue::MakeVector(Step * 0.5, -Step, 0.0);
	case 1: return FSampleValue::MakeNumber(Step % 3 == 0 ? -0.0 : Step % 3 == 1 ? 0.0 : Step * 1.25);
	case 2: return FSampleValue::MakeBool(Step % 2 == 1);
	case 3: return FSampleValue::MakeString(Step % 2 ? "MOVE_Walking" : "MOVE_Falling");
	case 4: return FSampleValue::MakeRotator(0.0, Step * 10.0, 0.0);
	case 5: return FSampleValue::MakeObject(Step % 4 ? "/Game/Maps/Arena.Arena:PersistentLevel.TP_PatrolA" : "None");
	case 6: return FSampleValue::MakeJson(FJson{{"R", Step % 256}, {"G", 0}});
	default:
		// Changes kind now and then, as a flipping variable does.
		return Step % 5 == 0 ? FSampleValue::MakeString("flip") : FSampleValue::MakeNumber(std::pow(2.0, Step % 7));
	}
}
}

TEST(SampleRows, GiveBackEveryRowAsRecordedAcrossChunks)
{
	FSampleRows Rows;
	const std::vector<std::string> Names = {"vel", "speed", "moving", "mode", "aim", "target", "color", "flip"};
	constexpr int NumRows = 12000;
	for (int R = 0; R < NumRows; ++R)
	{
		const FJson Clip = FJson{{"frame_path", "frame_" + std::to_string(R) + ".png"}};
		Rows.BeginRow(R / 60.0, 1000u + static_cast<uint64>(R), R % 100 == 0 ? &Clip : nullptr);
		// Some rows hold fewer variables, as passes before a late variable resolves do.
		const int Width = R % 17 == 0 ? 3 : static_cast<int>(Names.size());
		for (int Var = 0; Var < Width; ++Var) Rows.AddValue(static_cast<std::uint16_t>(Var), ValueOf(Var, R));
	}
	ASSERT_EQ(Rows.Num(), static_cast<size_t>(NumRows));

	const FJson Json = Rows.ToJson(Names);
	ASSERT_EQ(Json.size(), static_cast<size_t>(NumRows));
	for (int R = 0; R < NumRows; ++R)
	{
		const FJson& Row = Json[static_cast<size_t>(R)];
		ASSERT_EQ(Row["t"], R / 60.0) << R;
		ASSERT_EQ(Row["frame"], 1000 + R) << R;
		ASSERT_EQ(Row.contains("frame_path"), R % 100 == 0) << R;
		const int Width = R % 17 == 0 ? 3 : static_cast<int>(Names.size());
		ASSERT_EQ(Row["values"].size(), static_cast<size_t>(Width)) << R;
		for (int Var = 0; Var < Width; ++Var)
		{
			ASSERT_EQ(Row["values"][Names[static_cast<size_t>(Var)]], Expected(ValueOf(Var, R))) << "row " << R << ", " << Names[static_cast<size_t>(Var)];
		}
	}
	EXPECT_TRUE(std::signbit(Json[0]["values"]["speed"].get<double>()));
	EXPECT_FALSE(std::signbit(Json[2]["values"]["speed"].get<double>())) << "0 after -0 is a new value, not a repeat";
	EXPECT_EQ(Json[0]["values"].begin().key(), "vel") << "values keep their order within a row";
}

TEST(SampleRows, AnEmptyStoreAndEmptyRows)
{
	FSampleRows Rows;
	EXPECT_EQ(Rows.ToJson({}), FJson::array());
	Rows.BeginRow(0.0, 1, nullptr);
	Rows.BeginRow(0.5, 2, nullptr);
	Rows.AddValue(0, FSampleValue::MakeBool(true));
	Rows.AddValue(1, FSampleValue());
	EXPECT_EQ(Rows.ToJson({"b", "m"}), FJson::parse(R"([{"t": 0.0, "frame": 1, "values": {}},
		{"t": 0.5, "frame": 2, "values": {"b": true, "m": null}}])"));
}
