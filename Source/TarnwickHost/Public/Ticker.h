// The core ticker, the engine's FTSTicker: named callbacks run by the frame loop once per frame, each after
// its delay has elapsed. A callback returns true to keep ticking and false to be removed.
//
// Tick is called by whichever host runs the frame loop, on the game thread, with the frame's delta time.
// Adding or removing tickers is allowed from inside a callback (including a ticker removing itself); a
// ticker added during a Tick first runs on the next Tick.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class FTSTicker
{
public:
	using FTickerDelegate = std::function<bool(float DeltaTime)>;

	/** Identifies one registration; default-constructed handles are invalid. */
	struct FDelegateHandle
	{
		uint64_t Id = 0;
		bool IsValid() const { return Id != 0; }
		void Reset() { Id = 0; }
		bool operator==(const FDelegateHandle&) const = default;
	};

	static FTSTicker& GetCoreTicker();

	FDelegateHandle AddTicker(std::string Name, float DelaySeconds, FTickerDelegate Callback);
	FDelegateHandle AddTicker(FTickerDelegate Callback, float DelaySeconds = 0.0f);
	void RemoveTicker(FDelegateHandle Handle);
	void Tick(float DeltaTime);

	bool HasTicker(FDelegateHandle Handle) const;
	size_t Num() const;
	std::vector<std::string> GetTickerNames() const;
	/** Drops every ticker; for tests and host shutdown. */
	void Reset();

private:
	struct FElement
	{
		uint64_t Id = 0;
		std::string Name;
		double FireTime = 0.0;
		float Delay = 0.0f;
		double LastFireTime = 0.0;
		FTickerDelegate Callback;
		bool bRemoved = false;
	};

	mutable std::recursive_mutex Mutex;
	std::vector<std::shared_ptr<FElement>> Elements;
	double CurrentTime = 0.0;
	uint64_t NextId = 1;
};
