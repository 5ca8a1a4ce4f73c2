#include "SmokeSuiteResult.h"

#include "ReportJson.h"

namespace Tarnwick::Reports
{
bool IsSessionOk(const FSmokeSpecResult& Result)
{
	return Result.Outcome == ESmokeOutcome::Ran && Bool(Result.Report, "ok", false);
}

int SuiteExitCode(const FSmokeSuite& Suite)
{
	int Code = 0;
	for (const FSmokeSpecResult& Result : Suite.Specs)
	{
		if (Result.Outcome != ESmokeOutcome::Ran)
		{
			return 2;
		}
		if (!IsSessionOk(Result))
		{
			Code = 1;
		}
	}
	return Code;
}
}
