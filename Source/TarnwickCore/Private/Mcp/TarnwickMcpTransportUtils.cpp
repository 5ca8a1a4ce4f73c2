#include "Mcp/TarnwickMcpTransportUtils.h"

#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <random>
#include <unistd.h>

namespace Tarnwick::Mcp::TransportUtils
{
std::string MakeSessionId(std::string_view Prefix)
{
	static constexpr char Hex[] = "0123456789abcdef";
	std::random_device Entropy;
	std::string Id(Prefix);
	Id.reserve(Prefix.size() + 32);
	for (int Word = 0; Word < 4; ++Word)
	{
		uint32_t Bits = Entropy();
		for (int Nibble = 0; Nibble < 8; ++Nibble)
		{
			Id.push_back(Hex[Bits & 0xf]);
			Bits >>= 4;
		}
	}
	return Id;
}

namespace
{
/** True when the process ignores SIGPIPE (tarnwick serve does), so a plain write can only fail with EPIPE.
 *  Read once: the masking below costs three system calls a write, a large share of a small call's cost. */
bool IsSigPipeIgnored()
{
	static const bool bIgnored = [] {
		struct sigaction Current{};
		return ::sigaction(SIGPIPE, nullptr, &Current) == 0 && Current.sa_handler == SIG_IGN;
	}();
	return bIgnored;
}

/** write() with SIGPIPE held back for this thread; a SIGPIPE raised by this write is consumed, one that was
 *  already pending (someone else's) is left alone. */
ssize_t WriteWithoutSigPipe(int Fd, const char* Data, size_t Size)
{
	if (IsSigPipeIgnored())
	{
		return ::write(Fd, Data, Size);
	}
	sigset_t PipeSet;
	sigemptyset(&PipeSet);
	sigaddset(&PipeSet, SIGPIPE);
	sigset_t Pending;
	sigemptyset(&Pending);
	sigpending(&Pending);
	const bool bAlreadyPending = sigismember(&Pending, SIGPIPE) == 1;

	sigset_t OldMask;
	pthread_sigmask(SIG_BLOCK, &PipeSet, &OldMask);
	const ssize_t Written = ::write(Fd, Data, Size);
	const int WriteErrno = errno;
	if (Written < 0 && WriteErrno == EPIPE && !bAlreadyPending)
	{
		const timespec NoWait{0, 0};
		while (sigtimedwait(&PipeSet, nullptr, &NoWait) < 0 && errno == EINTR)
		{
		}
	}
	pthread_sigmask(SIG_SETMASK, &OldMask, nullptr);
	errno = WriteErrno;
	return Written;
}
}

long WriteOnce(int Fd, std::string_view Data)
{
	return WriteWithoutSigPipe(Fd, Data.data(), Data.size());
}
}
