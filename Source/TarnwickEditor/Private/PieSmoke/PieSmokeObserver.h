// FPieSmokeObserver: the process-wide registry of smoke sessions and the one per-frame callback that advances
// them. A start handler registers a session and returns at once; from then on the editor's own frame loop calls
// the observer (core ticker "TarnwickPieSmokeObserver") once per frame, and it walks every running session:
// holds its clock until the world is quiescent, advances it on the game or wall clock, does the session's
// scheduled work, and ends it on its duration, the wall-clock watchdog, a stop, or the end of PIE. When nothing
// runs any more it ends the PIE its sessions started and removes its callback and its end-of-PIE bindings, so
// an idle editor pays nothing.
//
// Finished sessions stay until the module shuts down, so they can still be polled. Every end path runs the
// session's clean-up exactly once: the background-throttle reference, held keys, the sampling's last
// bookkeeping, profiling. Game thread only; the observer never pumps frames itself.
#pragma once
#include "PieSmoke/PieSmokeSession.h"
#include "Delegates.h"
#include "TarnwickJson.h"
#include "Ticker.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

class FTarnwickLogCapture;
class UWorld;

namespace Tarnwick::PieSmoke
{
inline constexpr const char* ObserverTickerName = "TarnwickPieSmokeObserver";

class FPieSmokeObserver
{
public:
	static FPieSmokeObserver& Get();

	/**
	 * Takes the session (PIE started, clock fields set by the start handler). An empty id becomes
	 * "pie_smoke_<n>_<HHMMSS>". Takes a throttle reference when unthrottle is on, and makes sure the observer
	 * ticks. Returns the id.
	 */
	std::string Register(std::unique_ptr<FPieSmokeSession> Session);
	/** The session with this id, compared without regard to case; null when unknown. */
	FPieSmokeSession* Find(const std::string& Id) const;
	/** Stops the running session with this id, or every running session for an empty id; returns how many. */
	int32 Stop(const std::string& Id);
	int32 RunningCount() const;
	bool IsRegistered() const { return bRegistered; }
	/** Every session, in id order. */
	std::vector<const FPieSmokeSession*> GetSessions() const;

	/** The report of a session as of now (a running one's expectations are evaluated over its samples so far). */
	FJson BuildReport(FPieSmokeSession& Session, bool bIncludeSamples);

	/** The log capture whose lines the sessions judge; null: no log capture (every bucket empty). */
	void SetLogCapture(FTarnwickLogCapture* Capture) { LogCapture = Capture; }
	FTarnwickLogCapture* GetLogCapture() const { return LogCapture; }

	/** One frame of the observer; returns whether it keeps ticking. Called by its ticker. */
	bool Tick();
	/** The end-of-PIE handler bound to EndPIE and PrePIEEnded. */
	void HandleEndOfPie();

	/**
	 * Removes the callback and bindings, gives the throttle preference back and forgets every session; the id
	 * counter restarts. Module shutdown and tests.
	 */
	void Reset();

private:
	FPieSmokeObserver() = default;

	void EnsureRegistered();
	void Unregister();
	/** The end of a running session on any path but the end of PIE (which completes it on the next tick). */
	void EndSession(FPieSmokeSession& Session, ESessionStatus Status, double SessionSeconds, double Now);
	void Cleanup(FPieSmokeSession& Session, double SessionSeconds);
	/** With nothing running and a PIE world open: ask the editor to end it. */
	void RequestTeardownIfIdle();
	void TickSession(FPieSmokeSession& Session, UWorld* PieWorld, double Now);

	std::map<std::string, std::unique_ptr<FPieSmokeSession>> Sessions;
	uint32 NextSessionNumber = 0;
	FTSTicker::FDelegateHandle TickerHandle;
	FDelegateHandle EndPieHandle;
	FDelegateHandle PrePieEndedHandle;
	bool bRegistered = false;
	FTarnwickLogCapture* LogCapture = nullptr;
};
}
