#include "tools/selftest/report.h"

#include <algorithm>
#include <cstdio>

#include "tools/selftest/text.h"

namespace zor::selftest {
namespace {

// --- JSON

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      quoted += "\\u00";
      quoted += "0123456789abcdef"[static_cast<unsigned char>(c) / 16];
      quoted += "0123456789abcdef"[static_cast<unsigned char>(c) % 16];
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

std::string Member(std::string_view name, std::string_view text) {
  return Quoted(name) + ": " + Quoted(text);
}

/// The members of a check, without the braces.
std::string Members(const Check& check) {
  return Text(Member("name", check.name), ",\n     ", Member("assumes", check.assumes), ",\n     ",
              Member("page", check.page), ",\n     ", Member("sentence", check.sentence),
              ",\n     ", Member("expected", check.expected), ",\n     ",
              Member("wine8", check.wine8.empty() ? check.expected : check.wine8));
}

std::string Array(const Notes& notes) {
  std::string array = "[";
  for (const std::string& note : notes) {
    if (array.size() > 1) array += ", ";
    array += Quoted(note);
  }
  return array + "]";
}

// --- HTML

constexpr std::string_view kStyle = R"(
body { font: 15px/1.4 "Segoe UI", sans-serif; margin: 2em auto; max-width: 75em; padding: 0 1em; }
table { border-collapse: collapse; width: 100%; }
td, th { border: 1px solid #bbb; padding: .3em .5em; text-align: left; vertical-align: top; }
.good { background: #e4f4e4; } .bad { background: #f9d6d0; } .known { background: #fbf3cf; }
small { color: #444; }
)";

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '&') {
      escaped += "&amp;";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string_view Class(Verdict verdict) {
  if (verdict == Verdict::kAsExpected) return "good";
  return verdict == Verdict::kAsRecorded ? "known" : "bad";
}

std::string Row(const Result& result) {
  const Check& check = *result.check;
  std::string row =
      Text("<tr class=\"", Class(result.verdict), "\" id=\"", check.name, "\"><td>",
           Words(result.verdict), "</td><td><b>", check.name, "</b><br>", Escaped(check.assumes),
           "<br><small>", check.page, ": &ldquo;", Escaped(check.sentence),
           "&rdquo;</small></td><td>", Escaped(check.expected));
  if (!check.wine8.empty()) row += "<br><small>Wine 8: " + Escaped(check.wine8) + "</small>";
  row += "</td><td>" + Escaped(result.sighting.seen);
  for (const std::string& note : result.sighting.notes) {
    row += "<br><small>" + Escaped(note) + "</small>";
  }
  return row + "</td></tr>\n";
}

}  // namespace

int CountOf(const Run& run, bool good) {
  return static_cast<int>(std::ranges::count_if(
      run.results, [&](const Result& result) { return IsGood(result.verdict) == good; }));
}

std::string ListAsJson(std::span<const Check> checks) {
  std::string list = "[";
  for (const Check& check : checks) {
    if (list.size() > 1) list += ",";
    list += "\n  {" + Members(check) + "}";
  }
  return list + "\n]\n";
}

std::string AsJson(const Run& run) {
  std::string json = "{\n  \"about\": {";
  std::string_view between = "\n    ";
  for (const auto& [word, value] : run.about) {
    json += Text(between, Member(word, value));
    between = ",\n    ";
  }
  json += Text("\n  },\n  \"limit_seconds\": ", run.limit_seconds,
               ",\n  \"good\": ", CountOf(run, true), ",\n  \"bad\": ", CountOf(run, false),
               ",\n  \"checks\": [");
  between = "\n    ";
  for (const Result& result : run.results) {
    json += Text(
        between, "{", Members(*result.check), ",\n     ", Member("verdict", Words(result.verdict)),
        ",\n     ", Member("seen", result.sighting.seen),
        ",\n     \"notes\": ", Array(result.sighting.notes),
        ",\n     \"milliseconds\": ", static_cast<long>(result.sighting.milliseconds), "}");
    between = ",\n    ";
  }
  return json + "\n  ]\n}\n";
}

std::string AsHtml(const Run& run) {
  const int bad = CountOf(run, false);
  std::string html = Text(
      "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
      "<title>zor-selftest</title><style>",
      kStyle, "</style></head><body>\n<h1>zor-selftest: ",
      bad == 0 ? Text("all ", run.results.size(), " checks are good")
               : Text(bad, " of ", run.results.size(), " checks are not as expected"),
      "</h1>\n<table>\n");
  for (const auto& [word, value] : run.about) {
    html += Text("<tr><th>", Escaped(word), "</th><td>", Escaped(value), "</td></tr>\n");
  }
  html += "</table>\n";

  std::string_view theme;
  for (const Result& result : run.results) {
    if (result.check->theme() != theme) {
      if (!theme.empty()) html += "</table>\n";
      theme = result.check->theme();
      html += Text("<h2>", theme,
                   "</h2>\n<table>\n<tr><th>Verdict</th><th>Assumption</th><th>Expected</th>"
                   "<th>Seen</th></tr>\n");
    }
    html += Row(result);
  }
  if (!theme.empty()) html += "</table>\n";
  return html + Text("<p>Each check ran in a process of its own, for at most ", run.limit_seconds,
                     " seconds. Yellow: not what Windows does, but known of Wine 8.</p>\n"
                     "</body></html>\n");
}

}  // namespace zor::selftest
