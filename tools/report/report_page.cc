#include "tools/report/report_page.h"

#include "tools/html/markup.h"
#include "tools/html/page.h"
#include "tools/report/subject_sections.h"

namespace corvane::tools {
namespace {

// kScriptHash is the SHA-256 of this text.
constexpr char kScript[] =
    R"(document.querySelectorAll('.filter').forEach(function(box){
var lines=box.nextElementSibling.children,input=box.querySelector('input');
input.addEventListener('input',function(){
var text=input.value.toLowerCase(),shown=0;
for(var i=0;i<lines.length;i++){
var has=lines[i].textContent.toLowerCase().indexOf(text)>=0;
lines[i].hidden=!has;if(has)shown++;}
box.querySelector('output').textContent=shown+' of '+lines.length+' lines';});
box.hidden=false;});)";
constexpr char kScriptHash[] = "T5nkDSnxHmSiXfAknSrQmZ7a2GfpT++HcYoLxPwV27o=";

std::string base64(const std::string& bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t at = 0; at < bytes.size(); at += 3) {
    uint32_t group = 0;
    const size_t length = std::min<size_t>(3, bytes.size() - at);
    for (size_t i = 0; i < 3; ++i) {
      group = group << 8 | (i < length ? static_cast<uint8_t>(bytes[at + i]) : 0u);
    }
    for (size_t i = 0; i < 4; ++i) {
      text += i <= length ? kDigits[group >> (18 - 6 * i) & 0x3F] : '=';
    }
  }
  return text;
}

std::string verdictBox(const UnitVerdict& verdict) {
  const char* style = verdict.level == UnitVerdict::Level::kBad    ? "bad"
                      : verdict.level == UnitVerdict::Level::kGood ? "good"
                                                                   : "open";
  std::string html = std::string("<div class=\"verdict ") + style + "\"><strong>" +
                     markupText(verdict.headline) + "</strong>\n";
  for (const std::string& detail : verdict.details) html += "<p>" + markupText(detail) + "</p>\n";
  return html + "</div>\n";
}

std::string article(const ReportSubject& subject, size_t number) {
  return "<article id=\"subject-" + std::to_string(number) + "\">\n<h2>" +
         markupText(subject.name) + "</h2>\n" + verdictBox(verdictOn(subject)) +
         factsSection(subject) + statusSection(subject) + recordsSection(subject) +
         configurationSection(subject) + findingsSection(subject) + bootArgumentsSection(subject) +
         logSection(subject) + "</article>\n";
}

/// Returns the list of the subjects with their verdicts and links to them.
std::string overview(const std::vector<ReportSubject>& subjects) {
  std::string html = "<nav><ul>\n";
  for (size_t i = 0; i < subjects.size(); ++i) {
    html += "<li><a href=\"#subject-" + std::to_string(i) + "\">" + markupText(subjects[i].name) +
            "</a>: " + markupText(verdictOn(subjects[i]).headline) + "</li>\n";
  }
  return html + "</ul></nav>\n";
}

}  // namespace

std::string reportPage(const std::vector<ReportSubject>& subjects, const std::string& chartSvg) {
  std::string html;
  if (subjects.size() > 1) html += overview(subjects);
  for (size_t i = 0; i < subjects.size(); ++i) html += article(subjects[i], i);
  if (!chartSvg.empty()) {
    html +=
        "<section>\n<h2>Processor use</h2>\n<div class=\"wide\" role=\"region\" tabindex=\"0\" "
        "aria-label=\"Processor use\"><img alt=\"chart of the busiest "
        "processes\" "
        "src=\"data:image/svg+xml;base64," +
        base64(chartSvg) + "\"></div>\n</section>\n";
  }
  return htmlPage("Unit report", html, kScript, kScriptHash);
}

}  // namespace corvane::tools
