// The text forms of the expectation language: an entry's description (its `spec`), its scope, the context
// built from a variable's accumulator, and the list of observed string values. Pure; every result sentence is
// assembled from these.
#pragma once
#include "Expectations/Expectation.h"
#include "Sampling/VarAccumulator.h"

#include <string>

namespace Tarnwick::Expectations
{
/** The entry's description ("speed > 300", "grounded stays true for >= 2s", ...). */
std::string Describe(const FExpectation& E);

/** "the session", "window [%.2fs, %.2fs]" or "window [%.2fs, end]". */
std::string ScopeText(const FExpectation& E);

/**
 * "%d samples" and, by kind, the figures that explain a verdict ("true for 50% (1.00s of 2.00s), 3 transitions,
 * first true at t=0.50s, ..."), joined with ", ".
 */
std::string ContextText(const Sampling::FVarAccumulator& Acc);

/** For string and object variables " Observed value(s): 'a', 'b'." (with the overflow note); "" otherwise. */
std::string ObservedValuesText(const Sampling::FVarAccumulator& Acc);
}
