// The `expect` grammar: every entry read into an FExpectation (the first parse error stops), then each entry
// tested against the declared sample names and the session duration, collecting every entry that can never be
// satisfied so that one refusal names them all. Pure; the session calls it before PIE starts.
#pragma once
#include "Expectations/Expectation.h"

#include <string>
#include <vector>

namespace Tarnwick::Expectations
{
struct FParsedExpectations
{
	std::vector<FExpectation> Entries;
	/** The first parse error; empty when every entry parsed. */
	std::string ParseError;
	/** One message per entry that can never be satisfied. */
	std::vector<std::string> Unsatisfiable;

	bool IsOk() const { return ParseError.empty() && Unsatisfiable.empty(); }
};

/** Expect is the `expect` value (null: no entries); SampleNames the declared names; Duration the clamped duration. */
FParsedExpectations ParseExpectations(const FJson& Expect, const std::vector<std::string>& SampleNames, double Duration);

/** "%d expectation(s) can never be satisfied — refusing to start PIE." */
std::string UnsatisfiableRefusal(size_t Count);
}
