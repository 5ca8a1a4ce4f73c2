// The install points of the small host facilities: quiescence, the engine loop, the render thread, modal
// delegates and the ensure handler.
#include "FrameLoop.h"
#include "ModalHooks.h"
#include "Quiescence.h"
#include "RenderingThread.h"

#include <atomic>
#include <mutex>

namespace
{
std::atomic<IQuiescence*> GQuiescence{nullptr};
std::atomic<IEngineLoop*> GEngineLoop{nullptr};
std::atomic<IRenderingThread*> GRenderingThread{nullptr};
std::mutex GEnsureMutex;
FEnsureHandler GEnsureHandler;
}

namespace Tarnwick::Host
{
void SetQuiescence(IQuiescence* Quiescence) { GQuiescence.store(Quiescence); }
IQuiescence* GetQuiescence() { return GQuiescence.load(); }
void SetEngineLoop(IEngineLoop* Loop) { GEngineLoop.store(Loop); }
IEngineLoop* GetEngineLoop() { return GEngineLoop.load(); }
void SetRenderingThread(IRenderingThread* RenderingThread) { GRenderingThread.store(RenderingThread); }
IRenderingThread* GetRenderingThread() { return GRenderingThread.load(); }
}

uint64 FApp::GetFrameCounter()
{
	IEngineLoop* Loop = GEngineLoop.load();
	return Loop ? Loop->GetFrameCounter() : 0;
}

double FApp::GetDeltaTime()
{
	IEngineLoop* Loop = GEngineLoop.load();
	return Loop ? Loop->GetDeltaTime() : 0.0;
}

bool FApp::HasFocus()
{
	IEngineLoop* Loop = GEngineLoop.load();
	return Loop ? Loop->HasFocus() : true;
}

void EnqueueRenderCommand(std::string Name, std::function<void()> Command)
{
	if (IRenderingThread* RT = GRenderingThread.load())
	{
		RT->EnqueueCommand(std::move(Name), std::move(Command));
	}
	else
	{
		Command();
	}
}

void FlushRenderingCommands()
{
	if (IRenderingThread* RT = GRenderingThread.load()) RT->Flush();
}

bool IsInRenderingThread()
{
	IRenderingThread* RT = GRenderingThread.load();
	return RT && RT->IsInRenderingThread();
}

TMulticastDelegate<const FSlateModalContext&> FCoreDelegates::PreSlateModalWithContext;
TMulticastDelegate<const FSlateModalContext&> FCoreDelegates::PostSlateModalWithContext;

FEnsureHandler SetEnsureHandler(FEnsureHandler Handler)
{
	std::lock_guard Lock(GEnsureMutex);
	FEnsureHandler Previous = std::move(GEnsureHandler);
	GEnsureHandler = std::move(Handler);
	return Previous;
}

bool HandleEnsure(const std::string& EnsureText)
{
	FEnsureHandler Handler;
	{
		std::lock_guard Lock(GEnsureMutex);
		Handler = GEnsureHandler;
	}
	return Handler ? Handler(EnsureText) : false;
}
