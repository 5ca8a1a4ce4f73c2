// One client on a pair of fds. The input is watched from the game thread's own poll, so a request that arrives
// wakes exactly one thread, which reads it, runs it and writes the answer: no hand-over between threads on the
// way. Replies that finish elsewhere (and log notifications, from any thread) are written one whole line at a
// time under the write lock.
#include "Mcp/TarnwickMcpTransports.h"
#include "GameThread.h"
#include "Mcp/TarnwickMcpTransportUtils.h"
#include "Printf.h"
#include "TarnwickLog.h"

#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <poll.h>
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
	std::mutex WriteMutex;
	/** Set when the transport is destroyed (the fd may be reused) or the reader of OutFd went away. */
	bool bClosed = false;
	std::atomic<bool> bBroken = false;

	std::mutex StateMutex;
	std::condition_variable StateCv;
	size_t PendingReplies = 0;
	/** What initialize settled on; requests carry it in their session context. */
	std::string ProtocolVersion;

	/** One message per line; false once nothing can be written any more. */
	bool WriteLine(const FJson& Message)
	{
		std::string Line = FTarnwickJsonUtils::Write(Message);
		Line.push_back('\n');
		std::lock_guard Lock(WriteMutex);
		if (bClosed)
		{
			return false;
		}
		if (TransportUtils::WriteAll(OutFd, Line) != TransportUtils::EWriteResult::Ok)
		{
			bClosed = true;
			MarkBroken();
			return false;
		}
		return true;
	}

	void MarkBroken()
	{
		{
			std::lock_guard Lock(StateMutex);
			bBroken = true;
		}
		StateCv.notify_all();
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
			std::lock_guard Lock(StateMutex);
			ProtocolVersion = Version->get<std::string>();
		}
	}

	void AddPending()
	{
		std::lock_guard Lock(StateMutex);
		++PendingReplies;
	}

	void RemovePending()
	{
		{
			std::lock_guard Lock(StateMutex);
			--PendingReplies;
		}
		StateCv.notify_all();
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
	std::string Line;
	bool bSkipping = false;
	std::atomic<bool> bInputEnded = false;
	bool bStarted = false;

	FImpl(FServer& InServer, int InInFd, int OutFd)
		: Server(InServer), InFd(InInFd), SessionId(TransportUtils::MakeSessionId("stdio-"))
	{
		Channel->OutFd = OutFd;
	}

	FSessionContext Context() const
	{
		std::lock_guard Lock(Channel->StateMutex);
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
			Channel->AddPending();
			std::shared_ptr<FStdioChannel> Out = Channel;
			const bool bInitialize = Incoming.Method == "initialize";
			Server.HandleRequest(Incoming.Message, Context(), [Out, bInitialize](FJson Response) {
				if (bInitialize)
				{
					Out->RememberProtocolVersion(Response);
				}
				Out->WriteLine(Response);
				Out->RemovePending();
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
		TW_LOG(LogTarnwick, Warning, "stdio: skipping a message longer than %zu bytes", MaxMessageBytes);
		Channel->WriteLine(MakeErrorResponse(nullptr, ErrorCodes::InvalidRequest,
			Printf("Message too large: the limit is %zu bytes", MaxMessageBytes)));
	}

	/** Splits what was read into lines; a line over the limit is refused at once and skipped as it streams past. */
	void Consume(std::string_view Data)
	{
		while (!Data.empty() && !Channel->bBroken)
		{
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
				break;
			}
			if (!bSkipping)
			{
				HandleLine(Line);
			}
			Line.clear();
			bSkipping = false;
			Data.remove_prefix(NewLine + 1);
		}
	}

	/** Game thread, when the input is readable (or has ended): one read never blocks after poll said so. */
	void OnReadable()
	{
		if (bInputEnded) return;
		char Chunk[ReadChunkBytes];
		const ssize_t Got = Channel->bBroken ? 0 : ::read(InFd, Chunk, sizeof(Chunk));
		if (Got < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK))
		{
			return;
		}
		if (Got > 0)
		{
			Consume(std::string_view(Chunk, static_cast<size_t>(Got)));
			if (!Channel->bBroken) return;
		}
		// A last message without its newline still counts.
		if (!bSkipping && !Line.empty() && !Channel->bBroken)
		{
			HandleLine(Line);
		}
		Line.clear();
		EndInput();
	}

	void EndInput()
	{
		if (bInputEnded.exchange(true)) return;
		FGameThreadTaskQueue::Get().RemoveFdWatch(WatchId);
		TW_LOG(LogTarnwick, Log, "stdio: input ended; session %s finishing", SessionId.c_str());
	}
};

FStdioTransport::FStdioTransport(FServer& InServer, int InFd, int OutFd)
	: Impl(std::make_shared<FImpl>(InServer, InFd, OutFd))
{
}

FStdioTransport::~FStdioTransport()
{
	if (Impl->WatchId != 0)
	{
		FGameThreadTaskQueue::Get().RemoveFdWatch(Impl->WatchId);
	}
	{
		std::lock_guard Lock(Impl->Channel->WriteMutex);
		Impl->Channel->bClosed = true;
	}
	Impl->Channel->MarkBroken();
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
	// The callback keeps the state alive: the transport may be destroyed on another thread while it runs.
	Impl->WatchId = FGameThreadTaskQueue::Get().AddFdWatch(Impl->InFd, POLLIN, [State = Impl](short) { State->OnReadable(); });
}

bool FStdioTransport::IsFinished() const
{
	if (Impl->Channel->bBroken) return true;
	if (!Impl->bInputEnded) return false;
	std::lock_guard Lock(Impl->Channel->StateMutex);
	return Impl->Channel->PendingReplies == 0;
}

const std::string& FStdioTransport::GetSessionId() const
{
	return Impl->SessionId;
}
}
