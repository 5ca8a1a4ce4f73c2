// The simulated loading, streaming and compiling managers behind IQuiescence. Each subsystem is either quiet
// or busy for a number of frames (or forever); the frame loop counts busy frames down once per frame. Maps
// make async loading and world-partition streaming busy after they load; tests hold any subsystem busy.
// Game thread only.
#pragma once
#include "Quiescence.h"

#include <array>
#include <string>

namespace Tarnwick::Sim
{
enum class ESimBusySubsystem : uint8
{
	AsyncLoading,
	TextureStreaming,
	ShaderCompilation,
	AssetCompilation,
	WorldPartitionStreaming,
	Count,
};

/** "async_loading", "texture_streaming", ... as the PIE harness names them. */
const char* LexToString(ESimBusySubsystem Subsystem);

class FSimQuiescence final : public IQuiescence
{
public:
	static constexpr int64 Forever = -1;

	/** Keeps Subsystem busy for Frames more frames (Forever: until released); never shortens a longer hold. */
	void HoldBusy(ESimBusySubsystem Subsystem, int64 Frames, int32 Count = 1);
	void Release(ESimBusySubsystem Subsystem);
	void ReleaseAll();
	bool IsBusy(ESimBusySubsystem Subsystem) const;
	/** Counts one frame off every finite hold. */
	void Tick();

	bool IsAsyncLoading() const override;
	int32 GetNumWantingResources() const override;
	bool HasShaderCompilingManager() const override { return true; }
	int32 GetNumRemainingShaderJobs() const override;
	int32 GetNumPendingShaderJobs() const override;
	bool HasShaderJobsOutstanding() const override;
	int32 GetNumRemainingAssets() const override;
	bool HasWorldPartitionSubsystem(const UWorld* World) const override;
	bool IsWorldPartitionStreamingCompleted(const UWorld* World) const override;

private:
	struct FHold
	{
		int64 FramesLeft = 0; // 0 quiet, Forever busy until released
		int32 Count = 0;
	};
	std::array<FHold, static_cast<size_t>(ESimBusySubsystem::Count)> Holds{};
	const FHold& Get(ESimBusySubsystem S) const { return Holds[static_cast<size_t>(S)]; }
};
}
