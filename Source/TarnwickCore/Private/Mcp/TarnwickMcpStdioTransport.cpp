// One client on a pair of fds. The input is watched from the game thread's own poll, so a request that arrives
// wakes exactly one thread, which reads it, runs it and writes the answer: no hand-over between threads on the
// way. A read that brings many requests runs them a few per turn of the poll, so the frame loop keeps going.
// Every reply and notification (from any thread) joins one queue that is written without ever blocking: what
// the output does not take at once is written when the poll reports it writable. A client that stops reading
// has no further request run once a megabyte waits; if even then the queue keeps growing (notifications), the
// session is given up with the reason on stderr, so a stuck client can never stop the frame loop.
#include "GameThread.h"
#include "Mcp/TarnwickMcpTransportUtils.h"
#include "Mcp/TarnwickMcpTransports.h"
#include "Mcp/TarnwickTransportLog.h"
#include "Printf.h"

#include <cerrno>
#include <climits>
#include <functional>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tarnwick::Mcp
{
namespace
{
constexpr size_t ReadChunkBytes = 64 * 1024;

/** What outlives the transport: reply callbacks and the notification sink may still run after it is gone,
 *  so they hold this, and a closed channel turns their writes into no-ops. */
struct FStdioChannel
{
	int OutFd = 1;
	FStdioOptions Options;
	bool bOutIsSocket = false;
	uint64 OutWatch = 0;

	mutable std::mutex Mutex;
	/** Set when the transport is destroyed (the fd may be reused), the reader went away or was given up on. */
	bool bClosed = false;
	std::atomic<bool> bBroken = false;
	std::string Out;
	size_t OutPos = 0;
	size_t PendingReplies = 0;
	/** What initialize settled on; requests carry it in their session context. */
	std::string ProtocolVersion;
	/** Reading requests is paused until the queue drains below the pause mark; the output stays watched
	 *  meanwhile, so that the drain is noticed whichever thread wrote the last bytes. */
	bool bInputPaused = false;
	/** Called on the game thread when the queue drained below the input pause mark again. */
	std::function<void()> OnDrained;

	size_t Unsent() const { return Out.size() - OutPos; }

	/** Queues one message as a line and writes what the output takes now; false once nothing can be written. */
	bool WriteLine(const FJson& Message)
	{
		std::string Line = FTarnwickJsonUtils::Write(Message);
		Line.push_back('\n');
		std::lock_guard Lock(Mutex);
		if (bClosed)
		{
			return false;
		}
		if (Unsent() + Line.size() > Options.MaxQueuedBytes)
		{
			TW_TRANSPORT_LOG(Error, "stdio: giving up on the client: it has not read %zu bytes of replies and notifications "
									"(the limit is %zu); the session ends",
				Unsent() + Line.size(), Options.MaxQueuedBytes);
			CloseLocked();
			return false;
		}
		if (Unsent() == 0)
		{
			Out.clear();
			OutPos = 0;
		}
		Out += Line;
		WriteSomeLocked();
		return !bClosed;
	}

	/** Writes until the output would block; never waits. */
	void WriteSomeLocked()
	{
		while (Unsent() > 0 && !bClosed)
		{
			ssize_t Written = 0;
			if (bOutIsSocket)
			{
				Written = ::send(OutFd, Out.data() + OutPos, Unsent(), MSG_DONTWAIT | MSG_NOSIGNAL);
			}
			else
			{
				// A pipe that polls writable has room for PIPE_BUF bytes, which a write of at most that many never
				// waits for; more could block until the reader drains the rest.
				pollfd Ready{OutFd, POLLOUT, 0};
				if (::poll(&Ready, 1, 0) <= 0 || !(Ready.revents & POLLOUT))
				{
					if (Ready.revents & (POLLERR | POLLHUP | POLLNVAL))
					{
						CloseLocked();
						return;
					}
					break;
				}
				Written = TransportUtils::WriteOnce(OutFd, std::string_view(Out).substr(OutPos, std::min<size_t>(Unsent(), PIPE_BUF)));
			}
			if (Written > 0)
			{
				OutPos += static_cast<size_t>(Written);
				continue;
			}
			if (Written < 0 && errno == EINTR)
			{
				continue;
			}
			if (Written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
			{
				break;
			}
			CloseLocked();
			return;
		}
		if (Unsent() == 0)
		{
			Out.clear();
			OutPos = 0;
		}
		if (OutWatch != 0)
		{
			FGameThreadTaskQueue& Queue = FGameThreadTaskQueue::Get();
			Queue.SetFdWatchEvents(OutWatch, (Unsent() > 0 || bInputPaused) && !bClosed ? POLLOUT : 0);
			if (!Queue.IsInGameThread()) Queue.Wake();
		}
	}

	void CloseLocked()
	{
		bClosed = true;
		bBroken = true;
		Out.clear();
		Out.shrink_to_fit();
		OutPos = 0;
		if (OutWatch != 0)
		{
			FGameThreadTaskQueue::Get().SetFdWatchEvents(OutWatch, 0);
		}
	}

	/** Game thread, when the output is writable again. */
	void OnWritable()
	{
		std::function<void()> Drained;
		{
			std::lock_guard Lock(Mutex);
			WriteSomeLocked();
			if (Unsent() < Options.PauseInputAboveBytes) Drained = OnDrained;
		}
		if (Drained) Drained();
	}

	void RememberProtocolVersion(const FJson& InitializeResponse)
	{
		const auto Result = InitializeResponse.find("result");
		if (Result == InitializeResponse.end() || !Result->is_object())
		{
			return;
		}
		const auto Version = Result->find("protocolVersion");
		if (Version != Result->end() && Version->is_string())
		{
			std::lock_guard Lock(Mutex);
			ProtocolVersion = Version->get<std::string>();
		}
	}
};
}

struct FStdioTransport::FImpl
{
	FServer& Server;
	int InFd;
	std::string SessionId;
	std::shared_ptr<FStdioChannel> Channel = std::make_shared<FStdioChannel>();

	uint64 WatchId = 0;
	/** Read but not yet run, from PendingPos on: a read can bring many requests, and they run a turn's share at
	 *  a time. The eventfd is readable while lines wait, which brings the next turn round. */
	std::string Pending;
	size_t PendingPos = 0;
	int ContinueFd = -1;
	uint64 ContinueWatch = 0;
	/** The line being assembled across reads. */
	std::string Line;
	bool bSkipping = false;
	/** The input has reached its end; what is pending still runs. */
	bool bEof = false;
	std::atomic<bool> bInputEnded = false;
	bool bStarted = false;

	FImpl(FServer& InServer, int InInFd, int OutFd, FStdioOptions Options)
		: Server(InServer), InFd(InInFd), SessionId(TransportUtils::MakeSessionId("stdio-"))
	{
		Channel->OutFd = OutFd;
		Channel->Options = Options;
		struct stat Info{};
		Channel->bOutIsSocket = ::fstat(OutFd, &Info) == 0 && S_ISSOCK(Info.st_mode);
	}

	~FImpl()
	{
		if (ContinueFd >= 0) ::close(ContinueFd);
	}

	FSessionContext Context() const
	{
		std::lock_guard Lock(Channel->Mutex);
		return FSessionContext{SessionId, Channel->ProtocolVersion};
	}

	void HandleLine(std::string_view Text)
	{
		if (!Text.empty() && Text.back() == '\r')
		{
			Text.remove_suffix(1);
		}
		if (Text.find_first_not_of(" \t") == std::string_view::npos)
		{
			return;
		}
		FIncomingMessage Incoming = FServer::Classify(Text);
		switch (Incoming.Kind)
		{
		case EMessageKind::Request:
		{
			{
				std::lock_guard Lock(Channel->Mutex);
				++Channel->PendingReplies;
			}
			std::shared_ptr<FStdioChannel> Out = Channel;
			const bool bInitialize = Incoming.Method == "initialize";
			Server.HandleRequest(Incoming.Message, Context(), [Out, bInitialize](FJson Response) {
				if (bInitialize)
				{
					Out->RememberProtocolVersion(Response);
				}
				Out->WriteLine(Response);
				std::lock_guard Lock(Out->Mutex);
				--Out->PendingReplies;
			});
			break;
		}
		case EMessageKind::Notification:
			Server.HandleNotification(Incoming.Message, Context());
			break;
		case EMessageKind::Response:
			// We send no requests to the client, so there is nothing to match an answer against.
			break;
		case EMessageKind::Invalid:
			if (!Incoming.ErrorResponse.is_null())
			{
				Channel->WriteLine(Incoming.ErrorResponse);
			}
			break;
		}
	}

	void RefuseOversizedLine()
	{
		TW_TRANSPORT_LOG(Warning, "stdio: skipping a message longer than %zu bytes", MaxMessageBytes);
		Channel->WriteLine(MakeErrorResponse(nullptr, ErrorCodes::InvalidRequest,
			Printf("Message too large: the limit is %zu bytes", MaxMessageBytes)));
	}

	bool IsQueueAboveMark() const
	{
		std::lock_guard Lock(Channel->Mutex);
		return Channel->Unsent() >= Channel->Options.PauseInputAboveBytes;
	}

	bool HasPendingLines() const { return PendingPos < Pending.size(); }

	/** Runs the waiting lines, at most a turn's share, and none while the client is behind on its replies. A line
	 *  over the limit is refused at once and skipped as it streams past. */
	void Process()
	{
		size_t Ran = 0;
		while (HasPendingLines() && !Channel->bBroken)
		{
			if (Ran >= std::max<size_t>(1, Channel->Options.MaxRequestsPerTurn) || IsQueueAboveMark())
			{
				break;
			}
			std::string_view Data(Pending);
			Data.remove_prefix(PendingPos);
			const size_t NewLine = Data.find('\n');
			const std::string_view Piece = Data.substr(0, NewLine);
			if (!bSkipping)
			{
				if (Line.size() + Piece.size() > MaxMessageBytes)
				{
					RefuseOversizedLine();
					bSkipping = true;
					Line.clear();
					Line.shrink_to_fit();
				}
				else
				{
					Line.append(Piece);
				}
			}
			if (NewLine == std::string_view::npos)
			{
				PendingPos = Pending.size();
				break;
			}
			PendingPos += NewLine + 1;
			if (!bSkipping)
			{
				HandleLine(Line);
				++Ran;
			}
			Line.clear();
			bSkipping = false;
		}
		if (!HasPendingLines())
		{
			Pending.clear();
			PendingPos = 0;
		}
		if (bEof && !HasPendingLines() && !bInputEnded)
		{
			// A last message without its newline still counts.
			if (!bSkipping && !Line.empty() && !Channel->bBroken)
			{
				HandleLine(Line);
			}
			Line.clear();
			EndInput();
		}
	}

	/** Reads when nothing is waiting and the client keeps up; asks for another turn while lines wait. */
	void UpdateWatches()
	{
		if (bInputEnded) return;
		FGameThreadTaskQueue& Queue = FGameThreadTaskQueue::Get();
		std::lock_guard Lock(Channel->Mutex);
		const bool bPause = !Channel->bClosed && Channel->Unsent() >= Channel->Options.PauseInputAboveBytes;
		if (bPause != Channel->bInputPaused)
		{
			Channel->bInputPaused = bPause;
			Queue.SetFdWatchEvents(Channel->OutWatch, (Channel->Unsent() > 0 || bPause) ? POLLOUT : 0);
			if (bPause)
			{
				TW_TRANSPORT_LOG(Verbose, "stdio: %zu bytes of replies unread; reading no further request until the client catches up",
					Channel->Unsent());
			}
		}
		Queue.SetFdWatchEvents(WatchId, !bPause && !bEof && !HasPendingLines() ? POLLIN : 0);
		if (!bPause && (HasPendingLines() || bEof))
		{
			const uint64_t One = 1;
			[[maybe_unused]] const ssize_t Written = ::write(ContinueFd, &One, sizeof(One));
		}
	}

	/** Game thread, when the input is readable (or has ended): one read never blocks after poll said so. */
	void OnReadable()
	{
		if (bInputEnded || bEof) return;
		// Read straight into the pending buffer, which is empty whenever the input is watched.
		const size_t Before = Pending.size();
		Pending.resize(Before + ReadChunkBytes);
		const ssize_t Got = Channel->bBroken ? 0 : ::read(InFd, Pending.data() + Before, ReadChunkBytes);
		Pending.resize(Before + (Got > 0 ? static_cast<size_t>(Got) : 0));
		if (Got < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK))
		{
			return;
		}
		if (Got <= 0)
		{
			bEof = true;
		}
		Process();
		UpdateWatches();
	}

	/** Game thread, on the next turn of the poll while lines wait. */
	void OnContinue()
	{
		uint64_t Count = 0;
		[[maybe_unused]] const ssize_t Got = ::read(ContinueFd, &Count, sizeof(Count));
		Process();
		UpdateWatches();
	}

	void EndInput()
	{
		if (bInputEnded.exchange(true)) return;
		FGameThreadTaskQueue& Queue = FGameThreadTaskQueue::Get();
		Queue.RemoveFdWatch(WatchId);
		Queue.RemoveFdWatch(ContinueWatch);
		TW_TRANSPORT_LOG(Verbose, "stdio: input ended; session %s finishing", SessionId.c_str());
	}
};

FStdioTransport::FStdioTransport(FServer& InServer, int InFd, int OutFd, FStdioOptions InOptions)
	: Impl(std::make_shared<FImpl>(InServer, InFd, OutFd, InOptions))
{
}

FStdioTransport::~FStdioTransport()
{
	FGameThreadTaskQueue& Queue = FGameThreadTaskQueue::Get();
	if (Impl->WatchId != 0)
	{
		Queue.RemoveFdWatch(Impl->WatchId);
	}
	if (Impl->ContinueWatch != 0)
	{
		Queue.RemoveFdWatch(Impl->ContinueWatch);
	}
	{
		std::lock_guard Lock(Impl->Channel->Mutex);
		if (Impl->Channel->OutWatch != 0)
		{
			Queue.RemoveFdWatch(Impl->Channel->OutWatch);
			Impl->Channel->OutWatch = 0;
		}
		Impl->Channel->OnDrained = nullptr;
		Impl->Channel->bClosed = true;
		Impl->Channel->bBroken = true;
	}
	if (Impl->bStarted)
	{
		Impl->Server.DetachSession(Impl->SessionId);
	}
}

void FStdioTransport::Start()
{
	if (Impl->bStarted)
	{
		return;
	}
	Impl->bStarted = true;
	std::shared_ptr<FStdioChannel> Out = Impl->Channel;
	Impl->Server.AttachNotificationSink(Impl->SessionId, [Out](const FJson& Notification) { Out->WriteLine(Notification); });
	FGameThreadTaskQueue& Queue = FGameThreadTaskQueue::Get();
	// The callbacks keep the state alive: the transport may be destroyed on another thread while one runs.
	{
		std::lock_guard Lock(Out->Mutex);
		Out->OutWatch = Queue.AddFdWatch(Out->OutFd, 0, [Out](short) { Out->OnWritable(); });
		std::weak_ptr<FImpl> Weak = Impl;
		Out->OnDrained = [Weak] {
			if (std::shared_ptr<FImpl> State = Weak.lock()) State->UpdateWatches();
		};
	}
	Impl->ContinueFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
	Impl->ContinueWatch = Queue.AddFdWatch(Impl->ContinueFd, POLLIN, [State = Impl](short) { State->OnContinue(); });
	Impl->WatchId = Queue.AddFdWatch(Impl->InFd, POLLIN, [State = Impl](short) { State->OnReadable(); });
}

bool FStdioTransport::IsFinished() const
{
	if (Impl->Channel->bBroken) return true;
	if (!Impl->bInputEnded) return false;
	std::lock_guard Lock(Impl->Channel->Mutex);
	return Impl->Channel->PendingReplies == 0 && Impl->Channel->Unsent() == 0;
}

const std::string& FStdioTransport::GetSessionId() const
{
	return Impl->SessionId;
}

size_t FStdioTransport::NumQueuedBytes() const
{
	std::lock_guard Lock(Impl->Channel->Mutex);
	return Impl->Channel->Unsent();
}
}
