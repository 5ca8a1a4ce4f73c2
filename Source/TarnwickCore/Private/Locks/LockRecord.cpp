#include "LockRecord.h"

#include "Printf.h"
#include "TarnwickJson.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>

namespace Tarnwick::Locks
{
ELeaseVerdict EvaluateLease(const std::optional<FLockRecord>& Holder, std::string_view Owner, int32 Pid, double NowUtc, bool bHolderAlive)
{
	if (!Holder)
	{
		return ELeaseVerdict::Free;
	}
	if (Holder->Owner == Owner && Holder->Pid == Pid)
	{
		return ELeaseVerdict::Renewal;
	}
	if (!bHolderAlive)
	{
		return ELeaseVerdict::HolderGone;
	}
	if (NowUtc >= Holder->LeaseUntilUtc)
	{
		return ELeaseVerdict::LeaseExpired;
	}
	return ELeaseVerdict::Held;
}

FDecision MakeRefusal(const FLockRecord& Holder, double NowUtc)
{
	FDecision Decision;
	Decision.bAllowed = false;
	const double Left = std::ceil(Holder.LeaseUntilUtc - NowUtc);
	const double Max = static_cast<double>(std::numeric_limits<int32>::max());
	Decision.RetryAfterSeconds = Left >= Max ? std::numeric_limits<int32>::max() : static_cast<int32>(std::max(1.0, Left));
	Decision.HolderPid = Holder.Pid;
	Decision.HolderOwner = Holder.Owner;
	Decision.HolderAction = Holder.Action;
	return Decision;
}

std::string FormatUtc(double UtcSeconds)
{
	using namespace std::chrono;
	// Truncated, never rounded up: a lease written a fraction longer than granted would report one second
	// more to wait than the holder asked for.
	const int64 Millis = static_cast<int64>(std::floor(UtcSeconds * 1000.0));
	const sys_days Day = floor<days>(sys_time<milliseconds>(milliseconds(Millis)));
	const year_month_day Date(Day);
	const int64 MillisOfDay = Millis - duration_cast<milliseconds>(Day.time_since_epoch()).count();
	return Tarnwick::Printf("%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(Date.year()),
		static_cast<unsigned>(Date.month()), static_cast<unsigned>(Date.day()), static_cast<int>(MillisOfDay / 3600000),
		static_cast<int>(MillisOfDay / 60000 % 60), static_cast<int>(MillisOfDay / 1000 % 60), static_cast<int>(MillisOfDay % 1000));
}

std::optional<double> ParseUtc(std::string_view Text)
{
	using namespace std::chrono;
	const std::string Copy(Text);
	int Year = 0;
	unsigned Month = 0, Day = 0;
	int Hour = 0, Minute = 0, Second = 0, Consumed = 0;
	if (std::sscanf(Copy.c_str(), "%4d-%2u-%2uT%2d:%2d:%2d%n", &Year, &Month, &Day, &Hour, &Minute, &Second, &Consumed) != 6
		|| Consumed != 19)
	{
		return std::nullopt;
	}
	const year_month_day Date{year(Year), month(Month), day(Day)};
	if (!Date.ok() || Hour > 23 || Minute > 59 || Second > 60 || Hour < 0 || Minute < 0 || Second < 0)
	{
		return std::nullopt;
	}

	double Fraction = 0.0;
	std::string_view Rest = Text.substr(19);
	if (Rest.starts_with('.'))
	{
		double Scale = 0.1;
		Rest.remove_prefix(1);
		if (Rest.empty() || Rest.front() < '0' || Rest.front() > '9')
		{
			return std::nullopt;
		}
		while (!Rest.empty() && Rest.front() >= '0' && Rest.front() <= '9')
		{
			Fraction += (Rest.front() - '0') * Scale;
			Scale /= 10.0;
			Rest.remove_prefix(1);
		}
	}
	if (Rest == "Z")
	{
		Rest.remove_prefix(1);
	}
	if (!Rest.empty())
	{
		return std::nullopt;
	}
	const double DaySeconds = static_cast<double>(sys_days(Date).time_since_epoch().count()) * 86400.0;
	return DaySeconds + Hour * 3600.0 + Minute * 60.0 + Second + Fraction;
}

std::string WriteLockRecord(const FLockRecord& Record)
{
	FJson Json = FJson::object();
	Json["owner"] = Record.Owner;
	Json["pid"] = Record.Pid;
	Json["namespace"] = Record.Namespace;
	Json["action"] = Record.Action;
	Json["acquired_utc"] = FormatUtc(Record.AcquiredUtc);
	Json["lease_until_utc"] = FormatUtc(Record.LeaseUntilUtc);
	return Json.dump(2, ' ', false, nlohmann::detail::error_handler_t::replace) + "\n";
}

std::optional<FLockRecord> ParseLockRecord(std::string_view Text)
{
	const FJsonPtr Json = FTarnwickJsonUtils::Parse(Text);
	if (!Json)
	{
		return std::nullopt;
	}
	const auto String = [&Json](const char* Key) -> const std::string* {
		const auto It = Json->find(Key);
		return It != Json->end() && It->is_string() ? It->get_ptr<const std::string*>() : nullptr;
	};

	const auto PidIt = Json->find("pid");
	const std::string* Owner = String("owner");
	const std::string* LeaseText = String("lease_until_utc");
	if (!Owner || !LeaseText || PidIt == Json->end() || !PidIt->is_number_integer())
	{
		return std::nullopt;
	}
	// A pid too large for int64 reads as int32 max + 1, which the range check below refuses.
	const int64 Pid = PidIt->is_number_unsigned() && PidIt->get<uint64>() > static_cast<uint64>(std::numeric_limits<int64>::max())
		? static_cast<int64>(std::numeric_limits<int32>::max()) + 1
		: PidIt->get<int64>();
	const std::optional<double> LeaseUntil = ParseUtc(*LeaseText);
	if (Pid < std::numeric_limits<int32>::min() || Pid > std::numeric_limits<int32>::max() || !LeaseUntil)
	{
		return std::nullopt;
	}

	FLockRecord Record;
	Record.Owner = *Owner;
	Record.Pid = static_cast<int32>(Pid);
	Record.LeaseUntilUtc = *LeaseUntil;
	if (const std::string* Namespace = String("namespace"))
	{
		Record.Namespace = *Namespace;
	}
	if (const std::string* Action = String("action"))
	{
		Record.Action = *Action;
	}
	if (const std::string* Acquired = String("acquired_utc"))
	{
		Record.AcquiredUtc = ParseUtc(*Acquired).value_or(0.0);
	}
	return Record;
}
}
