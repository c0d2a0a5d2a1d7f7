#pragma once
// Tracing and logging shared by the whole module. Events and traces name the module's source
// as "qisrtvcard", not the physical file, so hosts see one stable name.

#include "qis/Exception.h"
#include "qis/Log.h"

namespace qisrtvcard {

inline constexpr const char* kSourceFile = "qisrtvcard";

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
// Asserts with the module's source name and the condition as written. Stringized here, not
// in QIS_ASSERT, so that a macro such as SUCCEEDED( hr ) keeps its spelling in the message.
// Asserts `condition` and reports it under `text`, the name the design gives the check.
#define QISRTV_ASSERT_AS(condition, text)                                                           \
    do {                                                                                            \
        if (!(condition)) throw ::qis::AssertionFailure(::qisrtvcard::kSourceFile, __LINE__, (text)); \
    } while (0)
#define QISRTV_ASSERT(condition)                                                                  \
    do {                                                                                          \
        if (!(condition)) throw ::qis::AssertionFailure(::qisrtvcard::kSourceFile, __LINE__, #condition); \
    } while (0)
