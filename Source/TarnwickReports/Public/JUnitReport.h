// JUnit XML for a smoke suite, in the dialect CI systems render (a <testsuite> for each spec). Each expectation is
// a test case, and log_ok, sample_ok and stable_ok are test cases of their own; failures carry the expectation's
// sentence and its context; times are session-clock seconds. A refused or unreadable spec is an error case.
#pragma once
#include "SmokeSuiteResult.h"

#include <string>

namespace Tarnwick::Reports
{
std::string WriteJUnitXml(const FSmokeSuite& Suite);
}
