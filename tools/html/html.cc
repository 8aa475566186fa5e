#include "tools/html/html.h"

#include "platform/printable.h"

namespace corvane::tools {
namespace {

// Text and background of each pair below have a contrast of at least 4.5 in both schemes, lines
// that carry a meaning at least 3.
constexpr char kStyle[] = R"(
:root{color-scheme:light dark;--back:#fff;--text:#1a1d21;--faint:#555b63;--line:#c9ced6;
--mark:#3b73a6;--limit:#c22}
@media screen and (prefers-color-scheme:dark){:root{--back:#111418;--text:#e6e9ed;--faint:#a3abb5;
--line:#3a424c;--mark:#6ab;--limit:#f77}}
*{box-sizing:border-box}
body{margin:0 auto;max-width:72rem;padding:1rem;background:var(--back);color:var(--text);
font:16px/1.45 system-ui,sans-serif;overflow-wrap:anywhere}
h1{font-size:1.5rem;margin:.5rem 0}h2{font-size:1.25rem;margin:2rem 0 .5rem}
h3{font-size:1.05rem;margin:1.5rem 0 .5rem}
figcaption{color:var(--faint);font-size:.875rem}
a{color:inherit}
:target{outline:3px solid var(--mark);outline-offset:2px}
.verdict{padding:.75rem 1rem;border-radius:.5rem}
.verdict p{margin:.25rem 0}.verdict strong{font-size:1.25rem}
.good,.bad,.open{color:#fff}
.good{background:#1a7f37}.bad{background:#b3261e}.open{background:#8a5a00}
span.good,span.bad,span.open{padding:0 .3rem}
.wide{overflow-x:auto}
table{border-collapse:collapse}
.wide table{min-width:16rem}
.wide th,.wide td{text-align:left;vertical-align:top;padding:.2rem .75rem .2rem 0;
border-bottom:1px solid var(--line);overflow-wrap:normal}
.wide thead th{white-space:nowrap}
.wide tbody th{font-weight:400}
.wide td{white-space:pre-wrap}
.wide td:last-child{overflow-wrap:anywhere;min-width:9rem}
.wide .number{text-align:right;white-space:nowrap;min-width:0}
.wide .long{overflow-wrap:anywhere;min-width:7rem}
.wide thead .long{overflow-wrap:normal;white-space:normal}
.wide .line{white-space:nowrap}.wide .value{min-width:12rem}
pre{font:.875rem/1.45 ui-monospace,monospace;margin:0}
.log{max-height:32rem;overflow:auto}
.plot svg{display:block;width:100%;min-width:40rem;height:auto}
figure{display:inline-block;vertical-align:top;margin:0 1.5rem 1.5rem 0;width:20rem;max-width:100%}
.chart{display:block;width:100%;font:11px system-ui,sans-serif}
.chart text{fill:var(--text)}.chart .axis{stroke:var(--faint)}
.chart rect,.chart circle{fill:var(--mark)}.chart polyline{fill:none;stroke:var(--mark)}
.chart .spread{stroke:var(--mark)}.chart .limit{stroke:var(--limit);stroke-dasharray:4 2}
@media print and (min-width:30rem){.wide{overflow:visible}.wide table{font-size:.6rem}
.wide thead th,.wide .line{white-space:normal}.wide td{overflow-wrap:anywhere}
.wide th,.wide td{min-width:0!important;padding-right:.4rem}}
@media print{:root{color-scheme:light}body{max-width:none;padding:0}.log{max-height:none;overflow:visible}
pre{white-space:pre-wrap}.good,.bad,.open{-webkit-print-color-adjust:exact;print-color-adjust:exact}
tr,figure,.verdict{break-inside:avoid}h2,h3{break-after:avoid}}
)";

}  // namespace

std::string markupText(std::string_view text) {
  constexpr std::string_view kSpecial = "&<>\"'";
  constexpr const char* kEntities[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&#39;"};
  std::string markup;
  for (const char each : printable(text)) {
    const size_t special = kSpecial.find(each);
    markup += special == std::string_view::npos ? std::string_view(&each, 1) : kEntities[special];
    // U+FFFE and U+FFFF are the only characters that are neither controls nor allowed.
    if (markup.ends_with("\xEF\xBF\xBE") || markup.ends_with("\xEF\xBF\xBF")) {
      markup.replace(markup.size() - 3, 3, "?");
    }
  }
  return markup;
}

std::string svgText(double x, double y, const char* anchor, std::string_view text) {
  return formatted("<text x=\"%.0f\" y=\"%.0f\" text-anchor=\"%s\">", x, y, anchor) +
         markupText(text) + "</text>";
}

Html Html::raw(std::string written) {
  Html html;
  html.markup = std::move(written);
  return html;
}

Html& Html::operator+=(const Html& more) {
  markup += more.markup;
  return *this;
}

Html linkTo(const std::string& id, const Html& content) {
  return Html::raw("<a href=\"#" + markupText(id) + "\">" + content.markup + "</a>");
}

std::string paragraph(std::string_view text) { return "<p>" + markupText(text) + "</p>\n"; }

std::string wide(const std::string& label, const std::string& content, const std::string& style) {
  return "<div class=\"wide " + style + "\" role=\"group\" tabindex=\"0\" aria-label=\"" +
         markupText(label) + "\">" + content + "</div>\n";
}

std::string htmlTable(const std::string& label, const std::vector<std::string>& titles,
                      const std::vector<HtmlRow>& rows, const std::vector<std::string>& classes) {
  const auto classOf = [&](size_t column) {
    const bool has = column < classes.size() && !classes[column].empty();
    return has ? " class=\"" + classes[column] + "\"" : "";
  };
  std::string html = "<table><thead><tr>";
  for (size_t i = 0; i < titles.size(); ++i) {
    html += "<th scope=\"col\"" + classOf(i) + ">" + markupText(titles[i]) + "</th>";
  }
  html += "</tr></thead><tbody>\n";
  for (const HtmlRow& row : rows) {
    html += row.id.empty() ? "<tr>" : "<tr id=\"" + markupText(row.id) + "\">";
    for (size_t i = 0; i < row.cells.size(); ++i) {
      html += (i == 0 ? "<th scope=\"row\"" : "<td") + classOf(i) + ">" + row.cells[i].markup +
              (i == 0 ? "</th>" : "</td>");
    }
    html += "</tr>\n";
  }
  return wide(label, html + "</tbody></table>");
}

std::string htmlTable(const std::string& label, const Table& table) {
  std::vector<std::string> titles, classes;
  for (const auto& [title, align] : table.columns) {
    titles.push_back(title);
    classes.push_back(align == Align::kRight ? "number" : "");
  }
  std::vector<HtmlRow> rows;
  for (const auto& cells : table.rows) rows.push_back({{cells.begin(), cells.end()}});
  return htmlTable(label, titles, rows, classes);
}

std::string htmlPage(const std::string& title, const std::string& content) {
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
         "style-src 'unsafe-inline'; img-src data:\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<link rel=\"icon\" href=\"data:,\">\n<title>" +
         markupText(title) + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n<main>\n" +
         "<h1>" + markupText(title) + "</h1>\n" + content + "</main>\n</body>\n</html>\n";
}

}  // namespace corvane::tools
