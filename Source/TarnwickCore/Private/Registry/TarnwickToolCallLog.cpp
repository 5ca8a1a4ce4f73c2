#include "TarnwickToolCallLog.h"

FTarnwickToolCallLog& FTarnwickToolCallLog::Get()
{
	static FTarnwickToolCallLog Instance;
	return Instance;
}

void FTarnwickToolCallLog::Record(FTarnwickToolCallRecord Record)
{
	std::lock_guard Lock(Mutex);
	Records.push_back(std::move(Record));
	++Total;
	while (Records.size() > Capacity)
	{
		Records.pop_front();
	}
}

std::vector<FTarnwickToolCallRecord> FTarnwickToolCallLog::GetRecent(size_t Count) const
{
	std::lock_guard Lock(Mutex);
	const size_t N = std::min(Count, Records.size());
	return std::vector<FTarnwickToolCallRecord>(Records.end() - static_cast<std::ptrdiff_t>(N), Records.end());
}

uint64 FTarnwickToolCallLog::GetTotalCount() const
{
	std::lock_guard Lock(Mutex);
	return Total;
}

void FTarnwickToolCallLog::ResetForTests()
{
	std::lock_guard Lock(Mutex);
	Records.clear();
	Total = 0;
}
