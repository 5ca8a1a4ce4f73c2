// Quiescence queries: whether the engine is still loading, streaming or compiling. The PIE harness holds its
// session clock until every one of them is quiet, so that samples describe the game and not the loader.
//
// The engine answers these through IsAsyncLoading, IStreamingManager, FShaderCompilingManager,
// FAssetCompilingManager and UWorldPartitionSubsystem; a host gathers them behind one interface, installed
// with SetQuiescence. Game thread only.
#pragma once
#include "HostTypes.h"

class UWorld;

class IQuiescence
{
public:
	virtual ~IQuiescence() = default;
	/** The engine's IsAsyncLoading(). */
	virtual bool IsAsyncLoading() const = 0;
	/** Resources the texture streamer still wants (IStreamingManager::Get().GetNumWantingResources()). */
	virtual int32 GetNumWantingResources() const = 0;
	/** Whether a shader compiling manager exists (it may not, in a cooked game). */
	virtual bool HasShaderCompilingManager() const = 0;
	/** Shader jobs remaining, queued or pending, plus results not yet processed. */
	virtual int32 GetNumRemainingShaderJobs() const = 0;
	virtual int32 GetNumPendingShaderJobs() const = 0;
	virtual bool HasShaderJobsOutstanding() const = 0;
	/** FAssetCompilingManager::GetNumRemainingAssets(). */
	virtual int32 GetNumRemainingAssets() const = 0;
	/** Whether the world has a UWorldPartitionSubsystem. */
	virtual bool HasWorldPartitionSubsystem(const UWorld* World) const = 0;
	/** UWorldPartitionSubsystem::IsStreamingCompleted() of the world. */
	virtual bool IsWorldPartitionStreamingCompleted(const UWorld* World) const = 0;
};

namespace Tarnwick::Host
{
void SetQuiescence(IQuiescence* Quiescence);
IQuiescence* GetQuiescence();
}
