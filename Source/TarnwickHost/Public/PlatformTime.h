// The host clock, the engine's FPlatformTime. Everything on the game thread reads time from here, never from
// std::chrono directly, so that the simulated editor's virtual clock drives handlers, tickers and jobs alike.
//
// Seconds() is monotonic (the engine's FPlatformTime::Seconds); UtcNow() is wall-clock UTC in seconds since
// the Unix epoch. A host installs its own clock with SetClock; without one the real system clock is used.
// FPlatformProcess::Sleep blocks through the same clock, so a simulated clock decides what a sleep means.
#pragma once

namespace Tarnwick::Host
{
class IPlatformClock
{
public:
	virtual ~IPlatformClock() = default;
	/** Monotonic seconds since an arbitrary origin. */
	virtual double Seconds() const = 0;
	/** Wall-clock UTC, seconds since 1970-01-01 (fractional). */
	virtual double UtcNow() const = 0;
	/**
	 * Blocks the calling thread for Seconds (the engine's FPlatformProcess::Sleep). The real clock sleeps; a
	 * simulated clock may instead move its time on by that much, so that nothing waits in tests.
	 */
	virtual void Sleep(double Seconds) const;
};

/** The system clock: steady_clock for Seconds, system_clock for UtcNow. */
class FRealtimeClock final : public IPlatformClock
{
public:
	double Seconds() const override;
	double UtcNow() const override;
};

/** Installs a clock (not owned; null restores the real clock). Call before threads start reading it. */
void SetClock(const IPlatformClock* Clock);
const IPlatformClock& GetClock();
}

struct FPlatformTime
{
	static double Seconds() { return Tarnwick::Host::GetClock().Seconds(); }
};

/** The engine's FPlatformProcess::Sleep, through the installed clock. */
struct FPlatformProcess
{
	static void Sleep(double Seconds) { Tarnwick::Host::GetClock().Sleep(Seconds); }
};
