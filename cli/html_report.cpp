// The report page: the template (cli/assets/report_page.html) with its
// markers replaced by three.js, the page title and the data. Arrays go in as
// base64 of little-endian binary, which the page decodes into typed arrays;
// the summary as JSON with "</" escaped so that no string can end its script
// element. Written through a temporary file, so a failure leaves no half page.
#include "cli/html_report.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

#include "cli/model_files.h"
#include "io/file_replace.h"
#include "io/platform_file.h"
#include "report_assets.h"

namespace vekmesh::cli {
namespace {

using Json = nlohmann::ordered_json;

// Standard base64 (RFC 4648) of `size` bytes, written in blocks.
bool writeBase64(std::FILE* out, const void* bytes, size_t size) {
  static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const auto* in = static_cast<const unsigned char*>(bytes);
  char block[4096];
  size_t used = 0;
  for (size_t i = 0; i < size; i += 3) {
    const uint32_t a = in[i];
    const uint32_t b = i + 1 < size ? in[i + 1] : 0;
    const uint32_t c = i + 2 < size ? in[i + 2] : 0;
    const uint32_t triple = (a << 16) | (b << 8) | c;
    block[used++] = kDigits[(triple >> 18) & 63];
    block[used++] = kDigits[(triple >> 12) & 63];
    block[used++] = i + 1 < size ? kDigits[(triple >> 6) & 63] : '=';
    block[used++] = i + 2 < size ? kDigits[triple & 63] : '=';
    if (used == sizeof block) {
      if (std::fwrite(block, 1, used, out) != used) return false;
      used = 0;
    }
  }
  return std::fwrite(block, 1, used, out) == used;
}

template <class T>
bool writeArray(std::FILE* out, const char* name, const std::vector<T>& values) {
  // Typed arrays read the platform's byte order, little-endian wherever a
  // browser runs; the tool's targets are little-endian too.
  return std::fprintf(out, "\"%s\":\"", name) > 0 &&
         writeBase64(out, values.data(), values.size() * sizeof(T)) && std::fputs("\",", out) >= 0;
}

bool writeGeometry(std::FILE* out, const ReportGeometry& g) {
  return std::fputs("{", out) >= 0 && writeArray(out, "positions", g.positions) &&
         writeArray(out, "indices", g.indices) && writeArray(out, "face_shell", g.face_shell) &&
         writeArray(out, "shell_kind", g.shell_kind) &&
         writeArray(out, "open_edges", g.open_edges) &&
         writeArray(out, "non_manifold_edges", g.non_manifold_edges) &&
         std::fputs("\"end\":0}", out) >= 0;
}

// JSON that may stand inside a script element: "<\/" is the same string.
std::string scriptSafe(const Json& value) {
  std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    out += text[i];
    if (text[i] == '<' && i + 1 < text.size() && text[i + 1] == '/') out += '\\';
  }
  return out;
}

// Text for an HTML element's content.
std::string escapedHtml(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '<')
      out += "&lt;";
    else if (c == '>')
      out += "&gt;";
    else if (c == '&')
      out += "&amp;";
    else
      out += c;
  }
  return out;
}

struct FileCloser {
  void operator()(std::FILE* f) const {
    if (f) std::fclose(f);
  }
};

// Writes the template, replacing each @@NAME@@ marker through `fill`.
template <class Fill>
bool writeTemplate(std::FILE* out, const std::string& page, Fill&& fill) {
  size_t at = 0;
  while (true) {
    const size_t start = page.find("@@", at);
    const size_t end = start == std::string::npos ? start : page.find("@@", start + 2);
    if (end == std::string::npos) break;
    if (std::fwrite(page.data() + at, 1, start - at, out) != start - at) return false;
    if (!fill(page.substr(start + 2, end - start - 2))) return false;
    at = end + 2;
  }
  return std::fwrite(page.data() + at, 1, page.size() - at, out) == page.size() - at;
}

void writeFile(const std::string& path, const std::function<bool(std::FILE*)>& body) {
  errno = 0;
  const bool written = replaceFile(path, [&](const char* temp) {
    std::unique_ptr<std::FILE, FileCloser> out(openFile(temp, "wb"));
    if (!out || !body(out.get())) return false;
    return std::fclose(out.release()) == 0;
  });
  if (!written)
    throw UserError("cannot write '" + path + "'" +
                    (errno ? std::string(": ") + std::strerror(errno) : ""));
}

}  // namespace

bool reportPageAvailable() {
  return sizeof kThreeJs > 1;
}

void writeReportPage(const std::string& path, const ReportData& data) {
  if (!reportPageAvailable())
    throw UserError(
        "this vekmesh was built without three.js, so it cannot write the report page (install "
        "Debian's libjs-three and build again); --json writes the data");
  const std::string page = kReportPageTemplate;
  const std::string title = escapedHtml(data.summary.value("input", std::string()));
  writeFile(path, [&](std::FILE* out) {
    return writeTemplate(out, page, [&](const std::string& name) {
      if (name == "THREE")
        return std::fwrite(kThreeJs, 1, sizeof kThreeJs - 1, out) + 1 == sizeof kThreeJs;
      if (name == "TITLE") return std::fputs(title.c_str(), out) >= 0;
      if (name == "SUMMARY") return std::fputs(scriptSafe(data.summary).c_str(), out) >= 0;
      if (name == "GEOMETRY") return writeGeometry(out, data.geometry);
      return std::fprintf(out, "@@%s@@", name.c_str()) > 0;
    });
  });
}

void writeReportJson(const std::string& path, const ReportData& data) {
  const std::string text = data.summary.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
  writeFile(path, [&](std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
  });
}

}  // namespace vekmesh::cli
