// The retained rows of a session, one per ticking pass, kept compact (numbers inline, strings interned) so
// that 100000 rows of 20 variables stay small; shaped into the documented JSON rows only when a report asks.
#pragma once
#include "Sampling/SampleValue.h"

#include <string>
#include <vector>

namespace Tarnwick::Sampling
{
class FSampleRows
{
public:
	void Reserve(size_t Rows, size_t ValuesPerRow);
	/** Starts a row; ClipFields (an object, or null) is merged between "frame" and "values". */
	void BeginRow(double T, uint64 Frame, const FJson* ClipFields);
	/** Adds the value of variable Var to the row begun last. */
	void AddValue(uint32 Var, const FSampleValue& Value);

	size_t Num() const { return Rows.size(); }
	/** The rows as JSON, with each variable under its name. */
	FJson ToJson(const std::vector<std::string>& Names) const;

private:
	struct FRow
	{
		double T = 0.0;
		uint64 Frame = 0;
		uint32 FirstValue = 0;
		uint32 NumValues = 0;
		int32 Clip = -1;
	};
	struct FValue
	{
		uint32 Var = 0;
		ESampleKind Kind = ESampleKind::Missing;
		bool bBool = false;
		/** Strings and objects: index into Strings; json: index into Jsons. */
		uint32 Ref = 0;
		double A = 0.0;
		double B = 0.0;
		double C = 0.0;
	};
	uint32 Intern(uint32 Var, const std::string& Text);

	std::vector<FRow> Rows;
	std::vector<FValue> Values;
	std::vector<std::string> Strings;
	std::vector<FJson> Jsons;
	std::vector<FJson> Clips;
	/** Per variable, the index of its last interned string (values usually repeat from row to row). */
	std::vector<uint32> LastString;
};
}
