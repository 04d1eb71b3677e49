// mkref: builds the HTML pages and the Qt help projects of the VISA reference from its sources.
//
// Usage: mkref -o DIRECTORY -q COMPRESSED_HELP SOURCE...
// Writes DIRECTORY/html/ (the pages, index.html, style.css copied from the .css argument and
// the help project reference.qhp), DIRECTORY/reference.qhcp (the collection project that
// registers COMPRESSED_HELP) and DIRECTORY/keywords.txt.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tools/mkref/reference.h"

namespace {

bool fail(const std::string& message) {
    std::fprintf(stderr, "mkref: %s\n", message.c_str());
    return false;
}

bool writeFile(const std::filesystem::path& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    return out.good() || fail("cannot write " + path.string());
}

int usage() {
    std::fprintf(stderr, "usage: mkref -o DIRECTORY -q COMPRESSED_HELP SOURCE... [STYLE.css]\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::string outDir, compressed, style;
    std::vector<std::string> sources;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if ((arg == "-o" || arg == "-q") && i + 1 < argc) {
            (arg == "-o" ? outDir : compressed) = argv[++i];
        } else if (!arg.empty() && arg[0] == '-') {
            return usage();
        } else if (arg.size() > 4 && arg.compare(arg.size() - 4, 4, ".css") == 0) {
            style = arg;
        } else {
            sources.push_back(arg);
        }
    }
    if (outDir.empty() || compressed.empty() || sources.empty()) return usage();

    mkref::Reference ref;
    std::string error;
    for (const std::string& source : sources) {
        mkref::Kind kind;
        if (!mkref::kindOfSource(source, &kind))
            return fail(source + ": not a source of the reference"), 1;
        if (!mkref::readSource(source, kind, &ref, &error)) return fail(error), 1;
    }
    if (!mkref::check(&ref, &error)) return fail(error), 1;

    std::filesystem::path html = std::filesystem::path(outDir) / "html";
    std::error_code ec;
    std::filesystem::create_directories(html, ec);
    if (ec) return fail("cannot create " + html.string()), 1;
    // Pages of entries that were renamed or removed must not linger.
    for (const auto& f : std::filesystem::directory_iterator(html, ec))
        if (f.path().extension() == ".html") std::filesystem::remove(f.path(), ec);
    bool ok = true;
    for (const mkref::Entry& e : ref.entries)
        ok = ok && writeFile(html / (e.name + ".html"), mkref::renderPage(ref, e));
    ok = ok && writeFile(html / "index.html", mkref::renderIndex(ref));
    if (!style.empty()) {
        std::filesystem::copy_file(style, html / "style.css",
                                   std::filesystem::copy_options::overwrite_existing, ec);
        if (ec) ok = fail("cannot copy " + style);
    }
    ok = ok && writeFile(html / "reference.qhp", mkref::helpProject(ref));
    ok = ok && writeFile(std::filesystem::path(outDir) / "reference.qhcp",
                         mkref::collectionProject(compressed));
    ok = ok && writeFile(std::filesystem::path(outDir) / "keywords.txt", mkref::keywordList(ref));
    return ok ? 0 : 1;
}
