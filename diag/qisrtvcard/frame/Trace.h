#pragma once
// Tracing and logging shared by the whole module. Events and traces name the module's source
// as "qisrtvcard", not the physical file, so hosts see one stable name.

#include <version>
#if defined(__cpp_lib_source_location)
#include <source_location>
#endif

#include "qis/Exception.h"
#include "qis/Log.h"

namespace qisrtvcard {

inline constexpr const char* kSourceFile = "qisrtvcard";

// Names of the checks most assertions make.
inline constexpr const char* kAssertSucceeded = "SUCCEEDED( hr )";
inline constexpr const char* kAssertFalse = "false";
inline constexpr const char* kAssertVideoCapture = "device.intersectCapability(DeviceCapability::VideoCapture())";

// The statement a helper works for: helpers that raise events or write log lines take it as a
// defaulted last argument, so that what a host reads names the caller's line, not the helper's.
#if defined(__cpp_lib_source_location)
using Caller = std::source_location;
inline int lineOf(const Caller& where) { return static_cast<int>(where.line()); }
#else
// A standard library without std::source_location (clang 14 on libstdc++ 12): the compiler's
// builtin, which as a default argument also names the caller.
struct Caller {
    int line = 0;
    static constexpr Caller current(int line = __builtin_LINE()) { return Caller{line}; }
};
inline int lineOf(const Caller& where) { return where.line; }
#endif

// Created on first use and kept for the life of the process.
qis::Logger* moduleLogger();
// The second category of the ATSC and Clear QAM scans.
qis::Logger* clearQamLogger();

// The logger a trace scope gets: none when tracing is off globally or for the logger.
qis::Logger* traceLogger(qis::Logger* (*logger)());

} // namespace qisrtvcard

// Opens a trace scope for the enclosing function under `name`, logged on entry and exit.
#define QISRTV_TRACE(name) \
    ::qis::TraceLogger qisrtvTraceScope(::qisrtvcard::traceLogger(::qisrtvcard::moduleLogger), (name), ::qisrtvcard::kSourceFile, __LINE__)
#define QISRTV_TRACE_CLEARQAM(name)                                                                                      \
    ::qis::TraceLogger qisrtvTraceScope(::qisrtvcard::traceLogger(::qisrtvcard::clearQamLogger), (name), ::qisrtvcard::kSourceFile, \
                                        __LINE__)
// Asserts `condition` and reports it under `text`, the condition's name a host sees. The text is
// always given, never stringized, so that reformatting the code cannot change what hosts read.
#define QISRTV_ASSERT(condition, text)                                                              \
    do {                                                                                            \
        if (!(condition)) throw ::qis::AssertionFailure(::qisrtvcard::kSourceFile, __LINE__, (text)); \
    } while (0)
