#ifndef CORVANE_STATION_VERDICT_H_
#define CORVANE_STATION_VERDICT_H_

namespace corvane::station {

/// The ways in which a run ends.
enum class Verdict {
  kPassed,      ///< Every phase passed; the unit holds "passed", no poison, and a record of it.
  kFailed,      ///< A phase failed; the unit holds "failed", one more failure, poison and a record.
  kIncomplete,  ///< SIGINT, SIGTERM or SIGHUP ended the run; the unit holds "incomplete",
                ///< or what it held before when the reason says that it was not marked.
  kRefused,     ///< The unit does not meet a condition, is poisoned, or has no free record slot;
                ///< nothing was written to it.
  kUntrusted,   ///< The unit does not hold what was written to it, or cannot be read or written;
                ///< or the results cannot be written.
  kMisused,     ///< The profile is wrong or the results cannot be opened; the unit was not used.
  kUnfinished,  ///< Only where results are read: they do not hold the end of the run.
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_VERDICT_H_
