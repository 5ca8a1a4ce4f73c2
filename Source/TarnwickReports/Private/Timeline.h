// The retained rows of a report turned into one time series per sampled variable, the form the plots draw from.
// A row is one ticking pass {"t", "frame", ["frame_path", "frame_valid"], "values": {name: value}}; a variable
// missing from a row was neither read nor held on that pass, which breaks its line into segments.
#pragma once
#include "SmokeSuiteResult.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Tarnwick::Reports
{
enum class EValueKind : uint8_t
{
	Missing,
	Bool,
	Number,
	String,
	Vector,
	Rotator,
	Object,
	Json,
};

/** The kind named as the report names it ("number", "vector", ...); unknown names are Missing. */
EValueKind ParseValueKind(std::string_view Name);
const char* ValueKindName(EValueKind Kind);
inline bool IsVectorKind(EValueKind Kind) { return Kind == EValueKind::Vector || Kind == EValueKind::Rotator; }
inline bool IsStateKind(EValueKind Kind) { return Kind == EValueKind::String || Kind == EValueKind::Object; }

struct FVarSeries
{
	std::string Name;
	EValueKind Kind = EValueKind::Missing;
	/** Session seconds of each sample. */
	std::vector<double> T;
	/** Number: the value; bool: 0 or 1; vector and rotator: the length; string and object: index into States. */
	std::vector<double> V;
	/** Vector and rotator components x, y, z (pitch, yaw, roll). */
	std::array<std::vector<double>, 3> C;
	/** String and object values in order of first appearance. */
	std::vector<std::string> States;
	/** Indices into T where a segment starts (always 0 first when there are samples). */
	std::vector<size_t> SegmentStarts;
	/** Values whose JSON did not fit the variable's kind; they are left out. */
	size_t Mismatched = 0;
	/** Json kind: the latest raw value. */
	FJson LastRaw;

	size_t Size() const { return T.size(); }
	/** One past the last index of segment S. */
	size_t SegmentEnd(size_t S) const { return S + 1 < SegmentStarts.size() ? SegmentStarts[S + 1] : T.size(); }
};

struct FTimeline
{
	/** In var_summary order; variables found only in rows follow in order of appearance. */
	std::vector<FVarSeries> Vars;
	size_t RowCount = 0;
	double FirstT = 0.0;
	double LastT = 0.0;
};

FTimeline ExtractTimeline(const FJson& Report);
}
