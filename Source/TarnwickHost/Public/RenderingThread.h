// The render thread as the modules reach it: ENQUEUE_RENDER_COMMAND, FlushRenderingCommands and
// IsInRenderingThread. Commands run on the render thread in the order enqueued; a flush returns once every
// command enqueued before it has run.
//
// The host installs its render thread with SetRenderingThread. Without one, commands run at once on the
// calling thread (as the engine does when rendering is single-threaded).
#pragma once
#include <functional>
#include <string>

class IRenderingThread
{
public:
	virtual ~IRenderingThread() = default;
	virtual void EnqueueCommand(std::string Name, std::function<void()> Command) = 0;
	/** Game thread: blocks until every command enqueued so far has run. */
	virtual void Flush() = 0;
	virtual bool IsInRenderingThread() const = 0;
};

namespace Tarnwick::Host
{
void SetRenderingThread(IRenderingThread* RenderingThread);
IRenderingThread* GetRenderingThread();
}

void EnqueueRenderCommand(std::string Name, std::function<void()> Command);
void FlushRenderingCommands();
bool IsInRenderingThread();
