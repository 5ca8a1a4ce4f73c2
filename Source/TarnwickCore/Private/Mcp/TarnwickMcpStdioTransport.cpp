// One client on a pair of fds. The reader thread parses lines and hands requests to the server without waiting
// for their answers, so a slow call does not hold up the next line; replies are written by whichever thread
// finishes them, one whole line at a time under the write lock.
#include "Mcp/TarnwickMcpTransports.h"
#include "Mcp/TarnwickMcpTransportUtils.h"
#include "Printf.h"
#include "TarnwickLog.h"

#include <cerrno>
#include <condition_variable>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <thread>
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
	/** The reader's wake-up pipe, so a broken output ends the reading too; -1 once the transport is gone. */
	int WakeFd = -1;
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
			if (WakeFd >= 0)
			{
				const char Byte = 1;
				while (::write(WakeFd, &Byte, 1) < 0 && errno == EINTR)
				{
				}
			}
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

	std::thread Reader;
	/** Written to by the destructor (and by a broken output) to end the reader's poll. */
	int WakeFds[2] = {-1, -1};
	std::atomic<bool> bStopping = false;
	std::atomic<bool> bFinished = false;
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

	void HandleLine(std::string_view Line)
	{
		if (!Line.empty() && Line.back() == '\r')
		{
			Line.remove_suffix(1);
		}
		if (Line.find_first_not_of(" \t") == std::string_view::npos)
		{
			return;
		}
		FIncomingMessage Incoming = FServer::Classify(Line);
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

	/** Waits for input or a wake-up; false when reading should stop. */
	bool WaitReadable()
	{
		while (true)
		{
			pollfd Fds[2] = {{InFd, POLLIN, 0}, {WakeFds[0], POLLIN, 0}};
			const int Ready = ::poll(Fds, 2, -1);
			if (Ready < 0)
			{
				if (errno == EINTR)
				{
					continue;
				}
				return false;
			}
			if (Fds[1].revents != 0 || bStopping || Channel->bBroken)
			{
				return false;
			}
			if (Fds[0].revents & POLLNVAL)
			{
				return false;
			}
			// POLLHUP still lets read() drain what is buffered and then report the end.
			return true;
		}
	}

	void ReadLoop()
	{
		std::string Line;
		bool bSkipping = false;
		char Chunk[ReadChunkBytes];
		while (WaitReadable())
		{
			const ssize_t Got = ::read(InFd, Chunk, sizeof(Chunk));
			if (Got < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK))
			{
				continue;
			}
			if (Got <= 0)
			{
				break;
			}
			std::string_view Data(Chunk, static_cast<size_t>(Got));
			while (!Data.empty())
			{
				const size_t NewLine = Data.find('\n');
				const std::string_view Piece = Data.substr(0, NewLine);
				if (!bSkipping)
				{
					if (Line.size() + Piece.size() > MaxMessageBytes)
					{
						// Refuse it now and drop the rest as it streams past, rather than holding it all.
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
		// A last message without its newline still counts.
		if (!bSkipping && !Line.empty() && !bStopping && !Channel->bBroken)
		{
			HandleLine(Line);
		}
	}

	void Run()
	{
		ReadLoop();
		{
			std::unique_lock Lock(Channel->StateMutex);
			Channel->StateCv.wait(Lock, [this] {
				return Channel->PendingReplies == 0 || Channel->bBroken || bStopping;
			});
		}
		TW_LOG(LogTarnwick, Log, "stdio: input ended; session %s finished", SessionId.c_str());
		bFinished = true;
	}
};

FStdioTransport::FStdioTransport(FServer& InServer, int InFd, int OutFd)
	: Impl(std::make_unique<FImpl>(InServer, InFd, OutFd))
{
}

FStdioTransport::~FStdioTransport()
{
	Impl->bStopping = true;
	if (Impl->WakeFds[1] >= 0)
	{
		const char Byte = 1;
		while (::write(Impl->WakeFds[1], &Byte, 1) < 0 && errno == EINTR)
		{
		}
	}
	{
		// Wakes the reader if it waits for replies; taking the lock orders this after its predicate check.
		std::lock_guard Lock(Impl->Channel->StateMutex);
	}
	Impl->Channel->StateCv.notify_all();
	if (Impl->Reader.joinable())
	{
		Impl->Reader.join();
	}
	{
		std::lock_guard Lock(Impl->Channel->WriteMutex);
		Impl->Channel->bClosed = true;
		Impl->Channel->WakeFd = -1;
	}
	if (Impl->bStarted)
	{
		Impl->Server.DetachSession(Impl->SessionId);
	}
	for (int& Fd : Impl->WakeFds)
	{
		if (Fd >= 0)
		{
			::close(Fd);
			Fd = -1;
		}
	}
}

void FStdioTransport::Start()
{
	if (Impl->bStarted)
	{
		return;
	}
	Impl->bStarted = true;
	if (::pipe2(Impl->WakeFds, O_CLOEXEC) != 0)
	{
		Impl->WakeFds[0] = Impl->WakeFds[1] = -1;
		TW_LOG(LogTarnwick, Warning, "stdio: no wake-up pipe (errno %d); shutdown waits for the input to end", errno);
	}
	{
		std::lock_guard Lock(Impl->Channel->WriteMutex);
		Impl->Channel->WakeFd = Impl->WakeFds[1];
	}
	std::shared_ptr<FStdioChannel> Out = Impl->Channel;
	Impl->Server.AttachNotificationSink(Impl->SessionId, [Out](const FJson& Notification) { Out->WriteLine(Notification); });
	Impl->Reader = std::thread([Self = Impl.get()] { Self->Run(); });
}

bool FStdioTransport::IsFinished() const
{
	return Impl->bFinished;
}

const std::string& FStdioTransport::GetSessionId() const
{
	return Impl->SessionId;
}
}
