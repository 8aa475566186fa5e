#ifndef CORVANE_TOOLS_REPORT_SUBJECT_SECTIONS_H_
#define CORVANE_TOOLS_REPORT_SUBJECT_SECTIONS_H_

#include <string>

#include "tools/report/verdict.h"

/// The sections of a page about one subject, as HTML; empty where the subject has nothing for one.
namespace corvane::tools {

std::string factsSection(const ReportSubject& subject);
/// The 128 control-bit bytes as a grid and as a table.
std::string statusSection(const ReportSubject& subject);
std::string recordsSection(const ReportSubject& subject);
/// The configuration area's map and keys.
std::string configurationSection(const ReportSubject& subject);
std::string findingsSection(const ReportSubject& subject);
/// The boot arguments and the other NVRAM variables.
std::string bootArgumentsSection(const ReportSubject& subject);
/// The end of the test log.
std::string logSection(const ReportSubject& subject);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_REPORT_SUBJECT_SECTIONS_H_
