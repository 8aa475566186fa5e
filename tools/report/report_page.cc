#include "tools/report/report_page.h"

#include "tools/html/markup.h"
#include "tools/report/subject_sections.h"

namespace corvane::tools {
namespace {

// Text and background of each pair below have a contrast of at least 4.5 in both schemes.
constexpr char kStyle[] = R"(
:root{color-scheme:light dark;--back:#fff;--text:#1a1d21;--faint:#555b63;--line:#c9ced6;
--soft:#eef0f2;--free:#d0d7de}
@media screen and (prefers-color-scheme:dark){:root{--back:#111418;--text:#e6e9ed;--faint:#a3abb5;
--line:#3a424c;--soft:#22272e;--free:#30363d}}
*{box-sizing:border-box}
body{margin:0 auto;max-width:72rem;padding:1rem;background:var(--back);color:var(--text);
font:16px/1.45 system-ui,sans-serif;overflow-wrap:anywhere}
h1{font-size:1.5rem;margin:.5rem 0}h2{font-size:1.25rem;margin:2rem 0 .5rem}
h3{font-size:1.05rem;margin:1.5rem 0 .5rem}
small,.legend,.parts{color:var(--faint);font-size:.875rem}
a{color:inherit}
.verdict{padding:.75rem 1rem;border-radius:.5rem;color:#fff}
.verdict p{margin:.25rem 0}.verdict strong{font-size:1.25rem}
.good{background:#1a7f37}.bad{background:#b3261e}.open{background:#8a5a00}
.wide{overflow-x:auto}
table{border-collapse:collapse}
.wide table{min-width:16rem}
.wide th,.wide td{text-align:left;vertical-align:top;padding:.2rem .75rem .2rem 0;
border-bottom:1px solid var(--line);overflow-wrap:normal}
.wide th{white-space:nowrap}
.wide td:last-child{overflow-wrap:anywhere;min-width:9rem}
.wide .number{text-align:right}
td.code,.log li,q{font-family:ui-monospace,monospace;font-size:.875rem;white-space:pre-wrap}
.grid{table-layout:fixed;width:100%;max-width:34rem;font:.75rem/1.6 ui-monospace,monospace}
.grid td,.grid th{text-align:center;padding:0;border:1px solid var(--back);font-weight:400}
.grid th{color:var(--faint)}
.grid tbody th{text-align:right;padding-right:.2rem}
.grid tr>:first-child{width:1.9rem}
.unwritten{background:var(--soft);color:var(--faint)}
.passed{background:#1a7f37;color:#fff}.failed{background:#b3261e;color:#fff}
.incomplete{background:#8a5a00;color:#fff}.nottested{background:#57606a;color:#fff}
.timeline{list-style:none;margin:0;padding:0 0 0 1rem;border-left:3px solid var(--line)}
.timeline li{position:relative;margin:0 0 .75rem}
.timeline li::before{content:"";position:absolute;left:-1.45rem;top:.35rem;width:.75rem;
height:.75rem;border-radius:50%;border:2px solid var(--back);background:#57606a}
.timeline .result0::before{background:#0a7ea4}.timeline .result1::before{background:#8250df}
.timeline .result2::before{background:#bf8700}
.map{display:block;shape-rendering:crispEdges;width:100%;max-width:48rem;background:var(--soft)}
.key{width:.875rem;height:.875rem;vertical-align:-.1rem}
.parts{list-style:none;padding:0;display:flex;flex-wrap:wrap;gap:.25rem 1rem}
.part0{fill:#8250df}.part1{fill:#0a7ea4}.part2{fill:#3f6fd8}.part3{fill:var(--free)}
.part4{fill:#2da44e}.part5{fill:#bf8700}.part6{fill:#cf222e}.part7{fill:var(--faint)}
.log{list-style:none;margin:0;padding:.5rem;max-height:32rem;overflow:auto;
border:1px solid var(--line)}
.log .continued{padding-left:2rem;color:var(--faint);border-left:3px solid var(--line)}
.filter input{font:inherit;max-width:100%}
img{display:block;width:100%;min-width:40rem;height:auto}
@media print{:root{color-scheme:light}body{max-width:none;padding:0}.filter{display:none}
.log{max-height:none;overflow:visible;border:0;padding:0}
.verdict,.grid td,.map,.timeline li{-webkit-print-color-adjust:exact;print-color-adjust:exact}
tr,li,.verdict,.grid,.map{break-inside:avoid}h2,h3{break-after:avoid}}
)";

// kScriptHash is the SHA-256 of this text; a browser runs no other script.
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

std::string verdictBox(const Verdict& verdict) {
  const char* style = verdict.level == Verdict::Level::kBad    ? "bad"
                      : verdict.level == Verdict::Level::kGood ? "good"
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
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
      "style-src 'unsafe-inline'; img-src data:; script-src 'sha256-" +
      std::string(kScriptHash) +
      "'\">\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<link rel=\"icon\" href=\"data:,\">\n<title>Unit report</title>\n<style>" +
      kStyle + "</style>\n</head>\n<body>\n<h1>Unit report</h1>\n";
  if (subjects.size() > 1) html += overview(subjects);
  for (size_t i = 0; i < subjects.size(); ++i) html += article(subjects[i], i);
  if (!chartSvg.empty()) {
    html +=
        "<section>\n<h2>Processor use</h2>\n<div class=\"wide\"><img alt=\"chart of the busiest "
        "processes\" "
        "src=\"data:image/svg+xml;base64," +
        base64(chartSvg) + "\"></div>\n</section>\n";
  }
  return html + "<script>" + kScript + "</script>\n</body>\n</html>\n";
}

}  // namespace corvane::tools
