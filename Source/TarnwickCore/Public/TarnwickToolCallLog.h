// A bounded record of every MCP tool call, newest last; read by the editor history resource.
#pragma once
#include "HostTypes.h"

#include <deque>
#include <mutex>
#include <string>
#include <vector>

struct FTarnwickToolCallRecord
{
	/** Host clock seconds when the call finished. */
	double Timestamp = 0.0;
	std::string Tool;
	std::string Namespace;
	std::string Action;
	bool bSuccess = false;
	int32 ErrorCode = 0;
	std::string Error;
	double DurationMs = 0.0;
	std::string SessionId;
};

class FTarnwickToolCallLog
{
public:
	static constexpr size_t Capacity = 500;

	static FTarnwickToolCallLog& Get();

	void Record(FTarnwickToolCallRecord Record);
	/** At most Count most recent records, newest last. */
	std::vector<FTarnwickToolCallRecord> GetRecent(size_t Count) const;
	/** Calls recorded since start (including those dropped from the bounded window). */
	uint64 GetTotalCount() const;
	void ResetForTests();

private:
	mutable std::mutex Mutex;
	std::deque<FTarnwickToolCallRecord> Records;
	uint64 Total = 0;
};
