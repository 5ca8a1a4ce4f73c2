#include "PlatformTime.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace Tarnwick::Host
{
double FRealtimeClock::Seconds() const
{
	using namespace std::chrono;
	return duration<double>(steady_clock::now().time_since_epoch()).count();
}

double FRealtimeClock::UtcNow() const
{
	using namespace std::chrono;
	return duration<double>(system_clock::now().time_since_epoch()).count();
}

void IPlatformClock::Sleep(double Seconds) const
{
	if (Seconds > 0.0) std::this_thread::sleep_for(std::chrono::duration<double>(Seconds));
}

namespace
{
const FRealtimeClock GRealtimeClock;
std::atomic<const IPlatformClock*> GClock{&GRealtimeClock};
}

void SetClock(const IPlatformClock* Clock)
{
	GClock.store(Clock ? Clock : &GRealtimeClock, std::memory_order_release);
}

const IPlatformClock& GetClock()
{
	return *GClock.load(std::memory_order_acquire);
}
}
