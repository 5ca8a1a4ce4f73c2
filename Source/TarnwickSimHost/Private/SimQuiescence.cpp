#include "SimQuiescence.h"

#include "SimObjects.h"

#include <algorithm>

namespace Tarnwick::Sim
{
const char* LexToString(ESimBusySubsystem Subsystem)
{
	switch (Subsystem)
	{
	case ESimBusySubsystem::AsyncLoading: return "async_loading";
	case ESimBusySubsystem::TextureStreaming: return "texture_streaming";
	case ESimBusySubsystem::ShaderCompilation: return "shader_compilation";
	case ESimBusySubsystem::AssetCompilation: return "asset_compilation";
	case ESimBusySubsystem::WorldPartitionStreaming: return "world_partition_streaming";
	case ESimBusySubsystem::Count: break;
	}
	return "unknown";
}

void FSimQuiescence::HoldBusy(ESimBusySubsystem Subsystem, int64 Frames, int32 Count)
{
	FHold& H = Holds[static_cast<size_t>(Subsystem)];
	if (Frames == Forever || H.FramesLeft == Forever) H.FramesLeft = Forever;
	else H.FramesLeft = std::max(H.FramesLeft, Frames);
	H.Count = std::max(H.Count, std::max(1, Count));
	if (H.FramesLeft == 0) H.Count = 0;
}

void FSimQuiescence::Release(ESimBusySubsystem Subsystem) { Holds[static_cast<size_t>(Subsystem)] = FHold(); }

void FSimQuiescence::ReleaseAll()
{
	for (FHold& H : Holds) H = FHold();
}

bool FSimQuiescence::IsBusy(ESimBusySubsystem Subsystem) const { return Get(Subsystem).FramesLeft != 0; }

void FSimQuiescence::Tick()
{
	for (FHold& H : Holds)
	{
		if (H.FramesLeft > 0 && --H.FramesLeft == 0) H.Count = 0;
	}
}

bool FSimQuiescence::IsAsyncLoading() const { return IsBusy(ESimBusySubsystem::AsyncLoading); }
int32 FSimQuiescence::GetNumWantingResources() const { return IsBusy(ESimBusySubsystem::TextureStreaming) ? Get(ESimBusySubsystem::TextureStreaming).Count : 0; }
int32 FSimQuiescence::GetNumRemainingShaderJobs() const { return IsBusy(ESimBusySubsystem::ShaderCompilation) ? Get(ESimBusySubsystem::ShaderCompilation).Count : 0; }
int32 FSimQuiescence::GetNumPendingShaderJobs() const { return 0; }
bool FSimQuiescence::HasShaderJobsOutstanding() const { return IsBusy(ESimBusySubsystem::ShaderCompilation); }
int32 FSimQuiescence::GetNumRemainingAssets() const { return IsBusy(ESimBusySubsystem::AssetCompilation) ? Get(ESimBusySubsystem::AssetCompilation).Count : 0; }

bool FSimQuiescence::HasWorldPartitionSubsystem(const UWorld* World) const
{
	const auto* Sim = dynamic_cast<const FSimWorld*>(World);
	return Sim && Sim->bHasWorldPartition;
}

bool FSimQuiescence::IsWorldPartitionStreamingCompleted(const UWorld* World) const
{
	return !HasWorldPartitionSubsystem(World) || !IsBusy(ESimBusySubsystem::WorldPartitionStreaming);
}
}
