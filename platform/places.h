// Places and lines that others look for: the paths at which the archiver keeps what is its own, and
// the trace lines by which its runs are known. The archiver makes them, the tools ask for the same.
#pragma once

// Below the installation prefix.
inline constexpr char kTraceFile[] = "etc/trace/Qelprfarc.trc";
inline constexpr char kOperationLog[] = "etc/log/operation.log";

// Below the root directory of a server. A run makes the last part of each; what is above must be
// there.
inline constexpr char kLockDirectory[] = "pmon";
inline constexpr char kLockFile[] = "pmon/arclock";
inline constexpr char kWorkParent[] = "core/Qelprfd";
inline constexpr char kWorkDirectory[] = "core/Qelprfd/Qelprfarc";

// Below the archive directory of a server.
inline constexpr char kArchivePart[] = "archive/";   // the archives; the logs lie beside it
inline constexpr char kUpdateMarker[] = "Qelprf.A";  // markers of the monitor, which a run removes
inline constexpr char kExecutionMarker[] = "Qelprf.B";

// Lines of the trace: a run of automatic archiving begins with one of the starts, then names its
// root directory, and ends with the end when nothing failed.
inline constexpr char kTraceTag[] = "Qelprfarc";
inline constexpr char kTraceStart[] = "$main():arc start";
inline constexpr char kTraceForceStart[] = "$main():arc force start";
inline constexpr char kTraceUpdateStart[] = "$main():arc update start";
inline constexpr char kTraceRoot[] = "$main():root ";  // followed by the path
inline constexpr char kTraceEnd[] = "$main():arc end";
