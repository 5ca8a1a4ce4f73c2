// Frame loops shared by the benchmarks that time a playing PIE world.
#pragma once
#include "GameViewport.h"
#include "SimHost.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace Tarnwick::Bench
{
/** Steps one PIE frame per iteration with the hero walking: W and S held in turn for 100 frames each, so that it
 *  keeps moving (a character given only a velocity brakes to a stop) and stays on the floor. */
inline void StepWalkingFrames(benchmark::State& State, Sim::FSimHost& Host, UGameViewportClient* Viewport)
{
	int64_t Frame = 0;
	for (auto _ : State)
	{
		if (Frame % 200 == 0)
		{
			Viewport->InputKey(FInputKeyParams{FKey("S"), IE_Released});
			Viewport->InputKey(FInputKeyParams{FKey("W"), IE_Pressed});
		}
		else if (Frame % 200 == 100)
		{
			Viewport->InputKey(FInputKeyParams{FKey("W"), IE_Released});
			Viewport->InputKey(FInputKeyParams{FKey("S"), IE_Pressed});
		}
		Host.StepFrame();
		++Frame;
	}
	State.SetItemsProcessed(State.iterations());
	State.counters["frames_per_s"] = benchmark::Counter(static_cast<double>(State.iterations()), benchmark::Counter::kIsRate);
}
}
