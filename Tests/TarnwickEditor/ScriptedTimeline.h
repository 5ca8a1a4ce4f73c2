// Drives the sampling pipeline without a host: a scripted timeline answers every read, so cadence, latching,
// accumulators, rows and expectations are exercised exactly as a session would, pass by pass.
//
// A timeline is an array of passes, {"t": seconds, "values": {var: value}}, or a run of identical passes
// {"from": a, "to": b, "step": s, "values": {...}}. A value is a JSON bool, number or string, or one of
// {"vector": [x, y, z]}, {"rotator": [p, y, r]}, {"enum": name, "value": n}, {"object": path},
// {"number": n, "base": b}, {"json": any}, {"fail": text}, {"dispatch_fail": text}, {"destroyed": label}.
// A variable absent from a pass fails its read with "not scripted"; a {"destroyed"} value keeps the root
// destroyed from then on.
#pragma once
#include "Sampling/SamplingCore.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Tarnwick::Test
{
using namespace Tarnwick::Sampling;

inline FReadResult ScriptedValue(const FJson& V)
{
	if (V.is_boolean()) return FReadResult::Ok(FSampleValue::MakeBool(V.get<bool>()));
	if (V.is_number()) return FReadResult::Ok(FSampleValue::MakeNumber(V.get<double>()));
	if (V.is_string()) return FReadResult::Ok(FSampleValue::MakeString(V.get<std::string>()));
	if (V.contains("vector")) return FReadResult::Ok(FSampleValue::MakeVector(V["vector"][0], V["vector"][1], V["vector"][2]));
	if (V.contains("rotator")) return FReadResult::Ok(FSampleValue::MakeRotator(V["rotator"][0], V["rotator"][1], V["rotator"][2]));
	if (V.contains("enum")) return FReadResult::Ok(FSampleValue::MakeEnum(V["enum"].get<std::string>(), V["value"].get<int64>()));
	if (V.contains("object")) return FReadResult::Ok(FSampleValue::MakeObject(V["object"].get<std::string>()));
	if (V.contains("json")) return FReadResult::Ok(FSampleValue::MakeJson(V["json"]));
	if (V.contains("number"))
	{
		FSampleValue N = FSampleValue::MakeNumber(V["number"].get<double>());
		N.bHasBase = true;
		N.Base = V["base"].get<double>();
		return FReadResult::Ok(N);
	}
	if (V.contains("dispatch_fail"))
	{
		FReadResult R = FReadResult::Failed(V["dispatch_fail"].get<std::string>());
		R.Status = EReadStatus::DispatchFailed;
		return R;
	}
	if (V.contains("destroyed"))
	{
		FReadResult R;
		R.Status = EReadStatus::RootDestroyed;
		R.RootLabel = V["destroyed"].get<std::string>();
		return R;
	}
	return FReadResult::Failed(V.value("fail", std::string("not scripted")));
}

/** Answers reads from the current pass of a timeline. */
class FScriptedReader final : public ISpecReader
{
public:
	explicit FScriptedReader(const FSamplingCore& InCore) : Core(InCore) {}

	void SetPass(const FJson& Values) { Current = Values; }

	FReadResult Read(size_t Index, double) override
	{
		++Reads[Index];
		const std::string& Name = Core.GetSpecs()[Index].Name;
		if (!Current.contains(Name)) return FReadResult::Failed("not scripted");
		const FJson& V = Current[Name];
		if (V.is_object() && V.contains("destroyed")) Destroyed[Index] = V["destroyed"].get<std::string>();
		return ScriptedValue(V);
	}

	bool IsRootDestroyed(size_t Index, std::string& OutLabel) override
	{
		const std::string& Name = Core.GetSpecs()[Index].Name;
		if (Current.contains(Name) && Current[Name].is_object() && Current[Name].contains("destroyed"))
		{
			Destroyed[Index] = Current[Name]["destroyed"].get<std::string>();
		}
		auto It = Destroyed.find(Index);
		if (It == Destroyed.end()) return false;
		OutLabel = It->second;
		return true;
	}

	std::map<size_t, int> Reads;

private:
	const FSamplingCore& Core;
	FJson Current = FJson::object();
	std::map<size_t, std::string> Destroyed;
};

/** Expands runs of passes into single passes, in time order. */
inline std::vector<std::pair<double, FJson>> ExpandTimeline(const FJson& Timeline)
{
	std::vector<std::pair<double, FJson>> Passes;
	for (const FJson& Row : Timeline)
	{
		if (Row.contains("t"))
		{
			Passes.emplace_back(Row["t"].get<double>(), Row.value("values", FJson::object()));
			continue;
		}
		const double From = Row["from"].get<double>();
		const double To = Row["to"].get<double>();
		const double Step = Row["step"].get<double>();
		const int64 N = static_cast<int64>(std::llround((To - From) / Step));
		for (int64 I = 0; I <= N; ++I) Passes.emplace_back(From + Step * static_cast<double>(I), Row.value("values", FJson::object()));
	}
	return Passes;
}

/** Property specs named after the timeline's variables, in order of first appearance. */
inline FJson SpecsFromTimeline(const FJson& Timeline)
{
	FJson Specs = FJson::array();
	std::set<std::string> Seen;
	for (const FJson& Row : Timeline)
	{
		const FJson Values = Row.value("values", FJson::object());
		for (const auto& [Name, Value] : Values.items())
		{
			if (Seen.insert(Name).second) Specs.push_back({{"name", Name}, {"source", "property"}, {"path", Name}});
		}
	}
	return Specs;
}

/** Runs every pass of a timeline through Core: Tick, AppendRow; returns the time of the last pass. */
inline double RunTimeline(FSamplingCore& Core, FScriptedReader& Reader, const FJson& Timeline)
{
	double Last = 0.0;
	uint64 Frame = 0;
	for (const auto& [T, Values] : ExpandTimeline(Timeline))
	{
		Reader.SetPass(Values);
		Core.Tick(T, Reader);
		Core.AppendRow(T, ++Frame, nullptr);
		Last = T;
	}
	return Last;
}

/** Every key of Expected is in Actual with an equal value (numbers within 1e-9; objects compared by subset). */
inline void ExpectSubset(const FJson& Expected, const FJson& Actual, const std::string& Where)
{
	if (Expected.is_object())
	{
		ASSERT_TRUE(Actual.is_object()) << Where << ": expected an object, got " << Actual.dump();
		for (const auto& [Key, Value] : Expected.items())
		{
			if (!Actual.contains(Key))
			{
				ADD_FAILURE() << Where << ": missing key '" << Key << "' in " << Actual.dump();
				continue;
			}
			ExpectSubset(Value, Actual[Key], Where + "." + Key);
		}
		return;
	}
	if (Expected.is_number() && Actual.is_number())
	{
		EXPECT_NEAR(Expected.get<double>(), Actual.get<double>(), 1e-9) << Where;
		return;
	}
	EXPECT_EQ(Expected, Actual) << Where;
}
}
