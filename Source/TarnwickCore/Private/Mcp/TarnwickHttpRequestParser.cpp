#include "Mcp/TarnwickHttpRequestParser.h"

#include <algorithm>
#include <charconv>

namespace Tarnwick::Mcp::Http
{
namespace
{
/** Chunk-size lines carry at most a size and a few extensions. */
constexpr size_t MaxChunkLineBytes = 4096;
/** Below this many consumed bytes the buffer is not worth moving. */
constexpr size_t CompactThreshold = 16 * 1024;

char ToLower(char C)
{
	return (C >= 'A' && C <= 'Z') ? static_cast<char>(C - 'A' + 'a') : C;
}

bool IsDigit(char C)
{
	return C >= '0' && C <= '9';
}

/** RFC 9110 tchar: what method names and header names are made of. */
bool IsTokenChar(char C)
{
	if ((C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z') || IsDigit(C))
	{
		return true;
	}
	switch (C)
	{
	case '!': case '#': case '$': case '%': case '&': case '\'': case '*': case '+': case '-': case '.':
	case '^': case '_': case '`': case '|': case '~':
		return true;
	default:
		return false;
	}
}

bool IsToken(std::string_view Text)
{
	if (Text.empty())
	{
		return false;
	}
	for (char C : Text)
	{
		if (!IsTokenChar(C))
		{
			return false;
		}
	}
	return true;
}

bool IsControl(char C)
{
	const unsigned char U = static_cast<unsigned char>(C);
	return U < 0x20 || U == 0x7f;
}

std::string_view Trim(std::string_view Text)
{
	while (!Text.empty() && (Text.front() == ' ' || Text.front() == '\t'))
	{
		Text.remove_prefix(1);
	}
	while (!Text.empty() && (Text.back() == ' ' || Text.back() == '\t'))
	{
		Text.remove_suffix(1);
	}
	return Text;
}

int HexValue(char C)
{
	if (IsDigit(C))
	{
		return C - '0';
	}
	const char L = ToLower(C);
	return (L >= 'a' && L <= 'f') ? L - 'a' + 10 : -1;
}

/** Calls Visit with each trimmed, non-empty element of a comma-separated header value. */
template <typename FVisit>
void ForEachListElement(std::string_view Value, FVisit&& Visit)
{
	while (true)
	{
		const size_t Comma = Value.find(',');
		const std::string_view Element = Trim(Value.substr(0, Comma));
		if (!Element.empty())
		{
			Visit(Element);
		}
		if (Comma == std::string_view::npos)
		{
			return;
		}
		Value.remove_prefix(Comma + 1);
	}
}
}

bool EqualsNoCase(std::string_view A, std::string_view B)
{
	if (A.size() != B.size())
	{
		return false;
	}
	for (size_t Index = 0; Index < A.size(); ++Index)
	{
		if (ToLower(A[Index]) != ToLower(B[Index]))
		{
			return false;
		}
	}
	return true;
}

const std::string* FHttpRequest::FindHeader(std::string_view Name) const
{
	for (const FHeader& Header : Headers)
	{
		if (EqualsNoCase(Header.first, Name))
		{
			return &Header.second;
		}
	}
	return nullptr;
}

std::string FHttpRequest::HeaderValue(std::string_view Name) const
{
	const std::string* Value = FindHeader(Name);
	return Value ? *Value : std::string();
}

std::string_view FHttpRequest::Path() const
{
	return std::string_view(Target).substr(0, Target.find('?'));
}

FHttpRequestParser::FHttpRequestParser(FHttpLimits InLimits) : Limits(InLimits) {}

void FHttpRequestParser::Feed(std::string_view Bytes)
{
	if (State == EState::Failed)
	{
		return;
	}
	Compact();
	// Body bytes with nothing waiting before them go straight into the body, so the input buffer never holds
	// more than a head and what follows it: a large body is kept once, not twice.
	if ((State == EState::Body || State == EState::ChunkData) && Pos == Input.size() && Remaining > 0)
	{
		const size_t Take = std::min(Remaining, Bytes.size());
		if (!bSkipping)
		{
			AppendBody(Bytes.substr(0, Take));
		}
		Remaining -= Take;
		Bytes.remove_prefix(Take);
	}
	Input.append(Bytes);
}

void FHttpRequestParser::AppendBody(std::string_view Bytes)
{
	// Grown by doubling, but never past what this body (or chunk) still declares: what the parser holds is then
	// at most about the body's own size.
	std::string& Body = Current.Body;
	if (Body.size() + Bytes.size() > Body.capacity())
	{
		// A fresh string takes exactly the capacity asked for; reserve on the old one may round it up to double.
		std::string Grown;
		Grown.reserve(std::min(std::max(Body.capacity() * 2, Body.size() + Bytes.size()), Body.size() + Remaining));
		Grown.append(Body);
		Body.swap(Grown);
	}
	Body.append(Bytes);
}

void FHttpRequestParser::Compact()
{
	if (Pos == Input.size())
	{
		Input.clear();
		Pos = 0;
		// An idle connection keeps no large buffer from an earlier burst.
		if (Input.capacity() > 2 * CompactThreshold) Input.shrink_to_fit();
	}
	else if (Pos >= CompactThreshold && Pos * 2 >= Input.size())
	{
		Input.erase(0, Pos);
		Pos = 0;
	}
}

void FHttpRequestParser::Discard()
{
	// Swapped with empty strings: assigning an empty string would keep the old allocation.
	std::string().swap(Input);
	std::string().swap(Current.Body);
	Current = FHttpRequest();
	Pos = 0;
	Scanned = 0;
	bSkipping = false;
	bContinueDue = false;
	State = EState::Failed;
	ErrorStatus = 0;
}

bool FHttpRequestParser::TakeContinueDue()
{
	const bool bDue = bContinueDue;
	bContinueDue = false;
	return bDue;
}

bool FHttpRequestParser::FinishRequest(FHttpRequest& Out)
{
	State = EState::Head;
	if (bSkipping)
	{
		// The body of a refused request has streamed past; the next request starts clean.
		bSkipping = false;
		return false;
	}
	Out = std::move(Current);
	return true;
}

EHttpParse FHttpRequestParser::Fail(int Status, std::string Reason)
{
	State = EState::Failed;
	ErrorStatus = Status;
	ErrorReason = std::move(Reason);
	Input.clear();
	Pos = 0;
	return EHttpParse::Error;
}

int FHttpRequestParser::TakeLine(std::string_view& OutLine, size_t Limit)
{
	const size_t End = Input.find('\n', Pos + Scanned);
	if (End == std::string::npos)
	{
		Scanned = Input.size() - Pos;
		return Scanned > Limit + 1 ? -1 : 0;
	}
	std::string_view Line(Input.data() + Pos, End - Pos);
	if (!Line.empty() && Line.back() == '\r')
	{
		Line.remove_suffix(1);
	}
	if (Line.size() > Limit)
	{
		return -1;
	}
	OutLine = Line;
	Pos = End + 1;
	Scanned = 0;
	return 1;
}

void FHttpRequestParser::StartSkipping(FHttpRequest& Out)
{
	Current.Body.clear();
	Current.Body.shrink_to_fit();
	Current.RefusalStatus = 413;
	Out = std::move(Current);
	Current = FHttpRequest();
	bSkipping = true;
	bContinueDue = false;
}

bool FHttpRequestParser::ParseHead(std::string_view Head, FHttpRequest& Out)
{
	auto NextLine = [&Head](std::string_view& Line) {
		const size_t End = Head.find('\n');
		Line = Head.substr(0, End);
		Head = End == std::string_view::npos ? std::string_view() : Head.substr(End + 1);
		if (!Line.empty() && Line.back() == '\r')
		{
			Line.remove_suffix(1);
		}
	};

	std::string_view Line;
	NextLine(Line);
	const size_t FirstSpace = Line.find(' ');
	const size_t LastSpace = Line.rfind(' ');
	if (FirstSpace == std::string_view::npos || FirstSpace == LastSpace)
	{
		Fail(400, "malformed request line");
		return false;
	}
	const std::string_view Method = Line.substr(0, FirstSpace);
	const std::string_view Target = Line.substr(FirstSpace + 1, LastSpace - FirstSpace - 1);
	const std::string_view Version = Line.substr(LastSpace + 1);
	if (!IsToken(Method) || Target.empty())
	{
		Fail(400, "malformed request line");
		return false;
	}
	for (char C : Target)
	{
		if (C == ' ' || IsControl(C))
		{
			Fail(400, "malformed request target");
			return false;
		}
	}
	if (Version.size() != 8 || Version.substr(0, 5) != "HTTP/" || !IsDigit(Version[5]) || Version[6] != '.' || !IsDigit(Version[7]))
	{
		Fail(400, "malformed HTTP version");
		return false;
	}
	if (Version[5] != '1')
	{
		Fail(505, "only HTTP/1.x is spoken here");
		return false;
	}
	Out.Method.assign(Method);
	Out.Target.assign(Target);
	// A later 1.x minor version is understood as 1.1, the newest we know.
	Out.MinorVersion = Version[7] == '0' ? 0 : 1;

	while (!Head.empty())
	{
		NextLine(Line);
		if (Line.empty())
		{
			break;
		}
		if (Line.front() == ' ' || Line.front() == '\t')
		{
			Fail(400, "folded header lines are not accepted");
			return false;
		}
		const size_t Colon = Line.find(':');
		if (Colon == std::string_view::npos || !IsToken(Line.substr(0, Colon)))
		{
			Fail(400, "malformed header line");
			return false;
		}
		const std::string_view Value = Trim(Line.substr(Colon + 1));
		for (char C : Value)
		{
			if (C != '\t' && IsControl(C))
			{
				Fail(400, "control character in a header value");
				return false;
			}
		}
		Out.Headers.emplace_back(std::string(Line.substr(0, Colon)), std::string(Value));
	}

	bool bCloseToken = false;
	bool bKeepAliveToken = false;
	const std::string* ContentLength = nullptr;
	int TransferEncodings = 0;
	bool bChunkedOnly = false;
	for (const FHeader& Header : Out.Headers)
	{
		if (EqualsNoCase(Header.first, "Connection"))
		{
			ForEachListElement(Header.second, [&](std::string_view Token) {
				bCloseToken |= EqualsNoCase(Token, "close");
				bKeepAliveToken |= EqualsNoCase(Token, "keep-alive");
			});
		}
		else if (EqualsNoCase(Header.first, "Content-Length"))
		{
			// Two different lengths would let two readers of the stream disagree on where the body ends.
			if (ContentLength && *ContentLength != Header.second)
			{
				Fail(400, "conflicting Content-Length headers");
				return false;
			}
			ContentLength = &Header.second;
		}
		else if (EqualsNoCase(Header.first, "Transfer-Encoding"))
		{
			++TransferEncodings;
			bChunkedOnly = EqualsNoCase(Header.second, "chunked");
		}
	}
	Out.bKeepAlive = Out.MinorVersion == 1 ? !bCloseToken : (bKeepAliveToken && !bCloseToken);

	bChunked = false;
	Remaining = 0;
	if (TransferEncodings > 0)
	{
		if (ContentLength || Out.MinorVersion == 0)
		{
			Fail(400, "Transfer-Encoding with Content-Length or in HTTP/1.0");
			return false;
		}
		if (TransferEncodings > 1 || !bChunkedOnly)
		{
			Fail(501, "only the chunked transfer coding is accepted");
			return false;
		}
		bChunked = true;
	}
	else if (ContentLength)
	{
		const std::string& Text = *ContentLength;
		if (Text.empty() || Text.size() > 19)
		{
			if (Text.empty() || Text.find_first_not_of("0123456789") != std::string::npos)
			{
				Fail(400, "malformed Content-Length");
				return false;
			}
			Remaining = static_cast<size_t>(-1);
		}
		else
		{
			unsigned long long Value = 0;
			const auto [End, Error] = std::from_chars(Text.data(), Text.data() + Text.size(), Value);
			if (Error != std::errc() || End != Text.data() + Text.size())
			{
				Fail(400, "malformed Content-Length");
				return false;
			}
			Remaining = static_cast<size_t>(Value);
		}
	}
	return true;
}

EHttpParse FHttpRequestParser::Next(FHttpRequest& Out)
{
	while (true)
	{
		switch (State)
		{
		case EState::Failed:
			return EHttpParse::Error;

		case EState::Head:
		{
			// Empty lines before a request line are tolerated (some clients send a CRLF after a body).
			if (Scanned == 0)
			{
				while (Pos < Input.size() && (Input[Pos] == '\n' || (Input[Pos] == '\r' && Pos + 1 < Input.size() && Input[Pos + 1] == '\n')))
				{
					Pos += Input[Pos] == '\n' ? 1 : 2;
				}
			}
			// The head ends at the first empty line: "\n\n" or "\n\r\n".
			size_t End = std::string::npos;
			for (size_t Index = Pos + Scanned; Index < Input.size(); ++Index)
			{
				if (Input[Index] != '\n' || Index == Pos)
				{
					continue;
				}
				if (Index + 1 < Input.size() && Input[Index + 1] == '\n')
				{
					End = Index + 2;
					break;
				}
				if (Index + 2 < Input.size() && Input[Index + 1] == '\r' && Input[Index + 2] == '\n')
				{
					End = Index + 3;
					break;
				}
			}
			if (End == std::string::npos)
			{
				const size_t Buffered = Input.size() - Pos;
				if (Buffered > Limits.MaxHeaderBytes)
				{
					return Fail(431, "the request head is too large");
				}
				// The last two bytes may be the start of the terminator.
				Scanned = Buffered > 2 ? Buffered - 2 : 0;
				return EHttpParse::NeedMore;
			}
			Scanned = 0;
			if (End - Pos > Limits.MaxHeaderBytes)
			{
				return Fail(431, "the request head is too large");
			}
			Current = FHttpRequest();
			if (!ParseHead(std::string_view(Input).substr(Pos, End - Pos), Current))
			{
				return EHttpParse::Error;
			}
			Pos = End;
			const bool bExpectsContinue = Current.MinorVersion == 1 && EqualsNoCase(Current.HeaderValue("Expect"), "100-continue");
			if (bChunked)
			{
				State = EState::ChunkSize;
				bContinueDue = bExpectsContinue && Pos == Input.size();
				continue;
			}
			if (Remaining == 0)
			{
				Out = std::move(Current);
				return EHttpParse::Request;
			}
			State = EState::Body;
			if (Remaining > Limits.MaxBodyBytes)
			{
				// Refused from its declared length; the body is skipped as it arrives. A client that waits for
				// "100 Continue" before sending it may instead send its next request, which would be taken
				// for body bytes, so that connection ends after the answer.
				StartSkipping(Out);
				Out.bKeepAlive = Out.bKeepAlive && !(bExpectsContinue && Pos == Input.size());
				return EHttpParse::Request;
			}
			// Grown as bytes arrive, not reserved from the declared length: a client that announces 4 MiB and
			// sends nothing must not cost 4 MiB.
			Current.Body.reserve(std::min<size_t>(Remaining, 64 * 1024));
			bContinueDue = bExpectsContinue && Input.size() - Pos < Remaining;
			continue;
		}

		case EState::Body:
		case EState::ChunkData:
		{
			const size_t Take = std::min(Remaining, Input.size() - Pos);
			if (!bSkipping)
			{
				AppendBody(std::string_view(Input).substr(Pos, Take));
			}
			Pos += Take;
			Remaining -= Take;
			if (Remaining > 0)
			{
				return EHttpParse::NeedMore;
			}
			if (State == EState::ChunkData)
			{
				State = EState::ChunkDataEnd;
				continue;
			}
			if (FinishRequest(Out)) return EHttpParse::Request;
			continue;
		}

		case EState::ChunkDataEnd:
			if (Pos < Input.size() && Input[Pos] == '\n')
			{
				Pos += 1;
			}
			else if (Pos + 1 < Input.size() && Input[Pos] == '\r' && Input[Pos + 1] == '\n')
			{
				Pos += 2;
			}
			else if (Pos == Input.size() || (Pos + 1 == Input.size() && Input[Pos] == '\r'))
			{
				return EHttpParse::NeedMore;
			}
			else
			{
				return Fail(400, "chunk data longer than its size");
			}
			State = EState::ChunkSize;
			continue;

		case EState::ChunkSize:
		{
			std::string_view Line;
			const int Taken = TakeLine(Line, MaxChunkLineBytes);
			if (Taken <= 0)
			{
				return Taken < 0 ? Fail(400, "malformed chunk size") : EHttpParse::NeedMore;
			}
			size_t Size = 0;
			size_t Digits = 0;
			while (Digits < Line.size() && HexValue(Line[Digits]) >= 0)
			{
				Size = Size * 16 + static_cast<size_t>(HexValue(Line[Digits]));
				++Digits;
			}
			const std::string_view Rest = Trim(Line.substr(Digits));
			if (Digits == 0 || Digits > 15 || (!Rest.empty() && Rest.front() != ';'))
			{
				return Fail(400, "malformed chunk size");
			}
			if (Size == 0)
			{
				State = EState::Trailers;
				TrailerBytes = 0;
				continue;
			}
			State = EState::ChunkData;
			Remaining = Size;
			if (!bSkipping && Current.Body.size() + Size > Limits.MaxBodyBytes)
			{
				StartSkipping(Out);
				return EHttpParse::Request;
			}
			continue;
		}

		case EState::Trailers:
		{
			std::string_view Line;
			const size_t Limit = Limits.MaxHeaderBytes - std::min(TrailerBytes, Limits.MaxHeaderBytes);
			const int Taken = TakeLine(Line, Limit);
			if (Taken <= 0)
			{
				return Taken < 0 ? Fail(431, "the trailers are too large") : EHttpParse::NeedMore;
			}
			if (!Line.empty())
			{
				// Trailers carry nothing we use; they only count against the head limit.
				TrailerBytes += Line.size() + 2;
				if (Line.find(':') == std::string_view::npos)
				{
					return Fail(400, "malformed trailer line");
				}
				continue;
			}
			if (FinishRequest(Out)) return EHttpParse::Request;
			continue;
		}
		}
	}
}

const char* ReasonPhrase(int Status)
{
	switch (Status)
	{
	case 100: return "Continue";
	case 200: return "OK";
	case 202: return "Accepted";
	case 204: return "No Content";
	case 400: return "Bad Request";
	case 401: return "Unauthorized";
	case 403: return "Forbidden";
	case 404: return "Not Found";
	case 405: return "Method Not Allowed";
	case 406: return "Not Acceptable";
	case 408: return "Request Timeout";
	case 413: return "Content Too Large";
	case 431: return "Request Header Fields Too Large";
	case 500: return "Internal Server Error";
	case 501: return "Not Implemented";
	case 503: return "Service Unavailable";
	case 505: return "HTTP Version Not Supported";
	default: return "Unknown";
	}
}

void AppendResponse(std::string& Out, int Status, const std::vector<FHeader>& Headers, std::string_view Body,
	EConnectionHeader Connection, bool bOmitBody)
{
	const bool bNoBodyStatus = Status < 200 || Status == 204 || Status == 304;
	char Number[24];
	auto AppendNumber = [&Out, &Number](size_t Value) {
		const auto Result = std::to_chars(Number, Number + sizeof(Number), Value);
		Out.append(Number, static_cast<size_t>(Result.ptr - Number));
	};
	size_t HeaderBytes = 64;
	for (const FHeader& Header : Headers)
	{
		HeaderBytes += Header.first.size() + Header.second.size() + 4;
	}
	Out.reserve(Out.size() + HeaderBytes + Body.size());
	Out += "HTTP/1.1 ";
	AppendNumber(static_cast<size_t>(Status));
	Out += ' ';
	Out += ReasonPhrase(Status);
	Out += "\r\n";
	for (const FHeader& Header : Headers)
	{
		Out += Header.first;
		Out += ": ";
		Out += Header.second;
		Out += "\r\n";
	}
	if (!bNoBodyStatus)
	{
		Out += "Content-Length: ";
		AppendNumber(Body.size());
		Out += "\r\n";
	}
	if (Connection == EConnectionHeader::Close)
	{
		Out += "Connection: close\r\n";
	}
	else if (Connection == EConnectionHeader::KeepAlive)
	{
		Out += "Connection: keep-alive\r\n";
	}
	Out += "\r\n";
	if (!bNoBodyStatus && !bOmitBody)
	{
		Out += Body;
	}
}
}
