// The reference generator: what it refuses in the sources, and what the pages and the help
// project hold.
#include "tools/mkref/reference.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using mkref::Kind;

const char kStatuses[] =
    "@VI_ERROR_TMO\nsummary: Timed out.\ncode: 0xBFFF0015\nsee: viRead\n\n"
    "Usual causes:\n- a query <not> sent\n- a missing `\\n`\n\n== What to check\n| Check | Why "
    "|\n| VI_ATTR_TMO_VALUE | & more |\n"
    "@VI_SUCCESS_MAX_CNT\nsummary: Count reached.\ncode: 0x3FFF0006\n\nRead again.\n"
    "@VI_WARN_NULL_OBJECT\nsummary: Null.\ncode: 0x3FFF0082\n\nNothing done.\n";
const char kOperations[] =
    "@# a comment\n@viRead\nsummary: Reads.\nsyntax: ViStatus viRead(ViSession vi,\n  ViBuf "
    "buf)\ngroup: Basic I/O\n"
    "label: Read\nkinds: 0x41\nkeywords: viReadX\nstatuses: VI_ERROR_TMO\n\nReads until "
    "VI_ERROR_TMO; viRead itself, viReadX.\n"
    "@viOpen\nsummary: Opens.\nsyntax: ViStatus viOpen()\ngroup: Resource manager and "
    "sessions\n\nOpens.\n"
    "@viLock\nsummary: Locks.\nsyntax: ViStatus viLock()\ngroup: Template\n\nLocks.\n";
const char kAttributes[] =
    "@VI_ATTR_TMO_VALUE\nsummary: The timeout.\nlabel: Timeout Value\nid: 0x3FFF001A\ntype: "
    "ViUInt32\n"
    "access: read/write\nkinds: 0x1FFFF\n\nIn milliseconds.\n"
    "@VI_ATTR_TRIG_ID\nsummary: Trigger.\nid: 0x3FFF0177\ntype: ViInt16\naccess: depends\n"
    "kinds: 0x2401 read only; 0x181E read/write\n\nThe line.\n";

mkref::Reference build() {
    mkref::Reference ref;
    std::string error;
    EXPECT_TRUE(mkref::readSourceText(kOperations, "operations.txt", Kind::Operation, &ref, &error))
        << error;
    EXPECT_TRUE(mkref::readSourceText(kStatuses, "statuses.txt", Kind::Status, &ref, &error))
        << error;
    EXPECT_TRUE(mkref::readSourceText(kAttributes, "attributes.txt", Kind::Attribute, &ref, &error))
        << error;
    EXPECT_TRUE(mkref::check(&ref, &error)) << error;
    return ref;
}

const mkref::Entry& entry(const mkref::Reference& ref, const std::string& name) {
    for (const mkref::Entry& e : ref.entries)
        if (e.name == name) return e;
    static mkref::Entry none;
    ADD_FAILURE() << name;
    return none;
}

TEST(Mkref, SourcesThatAreRefused) {
    const struct {
        const char* why;
        std::string source;
        const char* message;  // a part of the message
    } cases[] = {
        {"text before an entry", "stray\n@VI_SUCCESS\nsummary: s\ncode: 0\n\nt\n",
         "before the first"},
        {"a blank in a name", "@VI SUCCESS\n", "without blanks"},
        {"an unknown field", "@VI_SUCCESS\nsummary: s\ncode: 0\ncolour: red\n\nt\n",
         "unknown field \"colour\""},
        {"a field twice", "@VI_SUCCESS\nsummary: s\nsummary: t\n\nt\n", "given twice"},
        {"a field without a colon", "@VI_SUCCESS\nsummary s\n\nt\n", "key: value"},
        {"a required field missing", "@VI_SUCCESS\nsummary: s\n\nt\n", "lacks the field \"code\""},
        {"no text", "@VI_SUCCESS\nsummary: s\ncode: 0\n\n\n", "has no text"},
        {"a keyword on two pages",
         "@VI_SUCCESS\nsummary: s\ncode: 0\n\nt\n@VI_WARN_X\nsummary: s\ncode: 1\nkeywords: "
         "VI_SUCCESS\n\nt\n",
         "already the keyword"},
        {"a see name without a page", "@VI_SUCCESS\nsummary: s\ncode: 0\nsee: viNothing\n\nt\n",
         "viNothing, which has no page"},
    };
    for (const auto& c : cases) {
        mkref::Reference ref;
        std::string error;
        bool ok = mkref::readSourceText(c.source, "statuses.txt", Kind::Status, &ref, &error) &&
                  mkref::check(&ref, &error);
        EXPECT_FALSE(ok) << c.why;
        EXPECT_NE(error.find(c.message), std::string::npos) << c.why << ": " << error;
        EXPECT_NE(error.find("statuses.txt:"), std::string::npos) << c.why << ": " << error;
    }
}

TEST(Mkref, PagesLinkNamesEscapeTextAndRenderTheMarkup) {
    mkref::Reference ref = build();
    std::string page = mkref::renderPage(ref, entry(ref, "VI_ERROR_TMO"));
    EXPECT_NE(page.find("<p>Usual causes:</p>\n<ul>\n<li>a query &lt;not&gt; sent</li>\n<li>a "
                        "missing <code>\\n</code></li>\n</ul>"),
              std::string::npos)
        << page;
    EXPECT_NE(page.find("<h2>What to check</h2>"), std::string::npos);
    EXPECT_NE(page.find("<tr><th>Check</th><th>Why</th></tr>\n<tr><td><a "
                        "href=\"VI_ATTR_TMO_VALUE.html\"><code>VI_ATTR_TMO_VALUE</code></a></"
                        "td><td>&amp; more</td></tr>"),
              std::string::npos)
        << page;
    EXPECT_NE(page.find("<code>0xBFFF0015 (-1073807339)</code>"), std::string::npos);
    EXPECT_NE(page.find("<tr><th>Class</th><td>Error</td></tr>"), std::string::npos);
    EXPECT_NE(page.find("See also</h2>\n<p><a href=\"viRead.html\">"), std::string::npos);

    // A page does not link to itself; an alias links to the page it belongs to; other VISA names
    // are set as code.
    std::string read = mkref::renderPage(ref, entry(ref, "viRead"));
    EXPECT_NE(read.find("Reads until <a href=\"VI_ERROR_TMO.html\"><code>VI_ERROR_TMO</code></a>; "
                        "<code>viRead</code> itself, "
                        "<code>viReadX</code>."),
              std::string::npos)
        << read;
    EXPECT_NE(read.find("<pre class=\"syntax\">ViStatus viRead(ViSession vi, ViBuf buf)</pre>"),
              std::string::npos);
    EXPECT_NE(read.find("Basic I/O tab, &ldquo;Read&rdquo;"), std::string::npos);
    EXPECT_NE(read.find("GPIB INSTR, serial (ASRL)"), std::string::npos);
    EXPECT_NE(
        mkref::inlineHtml(ref, "see viReadX and VI_TRUE", "viOpen")
            .find("<a href=\"viRead.html\"><code>viReadX</code></a> and <code>VI_TRUE</code>"),
        std::string::npos);

    // Completion codes and warnings share a range of values: the name tells them apart.
    EXPECT_NE(mkref::renderPage(ref, entry(ref, "VI_SUCCESS_MAX_CNT")).find("<td>Completion</td>"),
              std::string::npos);
    EXPECT_NE(mkref::renderPage(ref, entry(ref, "VI_WARN_NULL_OBJECT")).find("<td>Warning</td>"),
              std::string::npos);

    // An attribute listed twice in the catalogue tells its access per kind of resource.
    std::string trig = mkref::renderPage(ref, entry(ref, "VI_ATTR_TRIG_ID"));
    EXPECT_NE(trig.find("read only &mdash; GPIB INSTR, GPIB INTFC, GPIB SERVANT<br>read/write "
                        "&mdash; VXI INSTR (message-based)"),
              std::string::npos)
        << trig;
    EXPECT_NE(mkref::renderPage(ref, entry(ref, "VI_ATTR_TMO_VALUE"))
                  .find("read/write &mdash; every resource kind"),
              std::string::npos);
}

TEST(Mkref, KindsOfMasks) {
    EXPECT_EQ(mkref::kindsOfMask(0x1FFFF), "every resource kind");
    EXPECT_EQ(mkref::kindsOfMask(0x3FFFF), "every resource kind");
    EXPECT_EQ(mkref::kindsOfMask(0), "no resource kind");
    EXPECT_EQ(mkref::kindsOfMask(0x10400), "GPIB INTFC, PXI MEMACC");
}

TEST(Mkref, TheHelpProjectAndTheIndex) {
    mkref::Reference ref = build();
    std::string project = mkref::helpProject(ref);
    // Every keyword has an identifier, which the viewer can open before its index is ready.
    EXPECT_NE(project.find("<keyword name=\"viReadX\" id=\"viReadX\" ref=\"viRead.html\"/>"),
              std::string::npos)
        << project;
    EXPECT_NE(project.find("<keyword name=\"Timeout Value\" ref=\"VI_ATTR_TMO_VALUE.html\"/>"),
              std::string::npos);
    EXPECT_NE(project.find("<file>VI_WARN_NULL_OBJECT.html</file>"), std::string::npos);
    EXPECT_EQ(mkref::keywordList(ref),
              "VI_ATTR_TMO_VALUE\nVI_ATTR_TRIG_ID\nVI_ERROR_TMO\nVI_SUCCESS_MAX_CNT\nVI_WARN_NULL_"
              "OBJECT\nviLock\nviOpen\nviRead\nviReadX\n");
    EXPECT_NE(mkref::collectionProject("/x/ZU-visa.qch").find("<file>/x/ZU-visa.qch</file>"),
              std::string::npos);

    // The index lists operations by the tab they lie on, and statuses by class.
    std::string index = mkref::renderIndex(ref);
    size_t tmpl = index.find("<h3>Template</h3>"), basic = index.find("<h3>Basic I/O</h3>"),
           rm = index.find("<h3>Resource manager and sessions</h3>");
    EXPECT_LT(tmpl, basic);
    EXPECT_LT(basic, rm);
    EXPECT_NE(rm, std::string::npos);
    size_t completion = index.find("<h3>Completion codes</h3>"),
           warnings = index.find("<h3>Warnings</h3>"), errors = index.find("<h3>Errors</h3>");
    EXPECT_LT(completion, warnings);
    EXPECT_LT(warnings, errors);
    EXPECT_NE(errors, std::string::npos);
}

}  // namespace
