// libpq's functions under their own names, in this namespace: pointers that LoadLibpq fills. So
// programs on files start without the library, which brings some thirty others along.
#pragma once

#include <libpq-fe.h>

#include <string>

namespace postgresql {

// Returns why the library can't be had, in the system's words; empty where it can. Until then
// nothing below may be called. From any thread.
std::string LoadLibpq();

// clang-format off
#define ANAGPARC_LIBPQ_FUNCTIONS(X)                                                                \
  X(PQbackendPID) X(PQclear) X(PQcmdStatus) X(PQcmdTuples) X(PQconnectdbParams) X(PQconnectionNeedsPassword)       \
  X(PQconninfoFree) X(PQconninfoParse) X(PQconsumeInput) X(PQenterPipelineMode) X(PQerrorMessage)  \
  X(PQexitPipelineMode) X(PQfinish) X(PQflush) X(PQfreemem) X(PQgetCopyData) X(PQgetResult)        \
  X(PQgetisnull) X(PQgetlength) X(PQgetvalue) X(PQhost) X(PQhostaddr) X(PQisBusy) X(PQnfields) X(PQntuples)                \
  X(PQpipelineSync) X(PQport) X(PQputCopyData) X(PQputCopyEnd) X(PQreset) X(PQresultErrorField)              \
  X(PQresultStatus) X(PQsendPrepare) X(PQsendQueryParams) X(PQsendQueryPrepared)                   \
  X(PQsetErrorVerbosity) X(PQsetNoticeProcessor) X(PQsetSingleRowMode) X(PQsetnonblocking)         \
  X(PQsocket) X(PQstatus)
// clang-format on

#define ANAGPARC_DECLARE(name) extern decltype(&::name) name;
ANAGPARC_LIBPQ_FUNCTIONS(ANAGPARC_DECLARE)
#undef ANAGPARC_DECLARE

}  // namespace postgresql
