#ifndef CORVANE_TOOLS_REPORT_SUBJECT_SECTIONS_H_
#define CORVANE_TOOLS_REPORT_SUBJECT_SECTIONS_H_

#include <string>

#include "tools/report/verdict.h"

/// The sections of a page about one subject, as HTML; empty where the subject has nothing for one.
namespace corvane::tools {

std::string factsSection(const ReportSubject& subject);
/// Returns the 128 control-bit bytes as a grid, and those that were written as a table.
std::string statusSection(const ReportSubject& subject);
std::string recordsSection(const ReportSubject& subject);
/// Returns the configuration area's map and keys.
std::string configurationSection(const ReportSubject& subject);
std::string findingsSection(const ReportSubject& subject);
/// Returns the boot arguments and the other NVRAM variables.
std::string bootArgumentsSection(const ReportSubject& subject);
/// Returns the end of the test log.
std::string logSection(const ReportSubject& subject);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_REPORT_SUBJECT_SECTIONS_H_
