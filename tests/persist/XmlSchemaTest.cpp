#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "XmlTestSupport.h"
#include "persist/MVHandler.h"
#include "persist/SchemaText.h"
#include "persist/XmlParser.h"

namespace MV {
namespace {

using namespace XmlTest;

const std::string kMatrixBody =
    "<mv:wave mv:id=\"1\" mv:path=\"a.wav\"/>"
    "<mv:xaxis mv:source=\"Vel\" mv:invert=\"true\"/><mv:yaxis mv:source=\"Midi CC 1\"/>"
    "<mv:column mv:value=\"64\"/>"
    "<mv:row mv:value=\"0\"><mv:cell mv:wave=\"1\" mv:loop=\"0\" mv:release=\"0\"/>"
    "<mv:cell mv:wave=\"&lt;none&gt;\"/></mv:row>";

// Every kind of document, with something of each element.
std::vector<std::pair<std::string, std::string>> sampleDocuments() {
    GroupDoc g;
    g.attributes +=
        " mv:mute=\"true\" mv:solo=\"1\" mv:noteprio=\"Highest\" mv:start=\"1.5ms\" mv:chokeGroup=\"2\" "
        "mv:interpolation=\"Sinc64\" mv:velocitycurve=\"Exp2\" mv:delay=\"0ms\"";
    g.range += "<mv:fade mv:lowkey=\"C#2\" mv:highkey=\"100\" mv:lowvel=\"10\" mv:highvel=\"120\"/>";
    g.seqs =
        "<mv:seq1 mv:rate=\"1/4T\" mv:sync=\"Key\" mv:mode=\"Tempo\" mv:length=\"8\" mv:values=\"1,-100,3\"/>"
        "<mv:seq2 mv:rate=\"2.00 Hz\" mv:sync=\"Voice\" mv:length=\"0\" mv:values=\"\" mv:smooth=\"true\"/>";
    g.filter =
        "<mv:filter mv:type=\"LowShelf\" mv:freq=\"1.5 kHz\" mv:res=\"0.5\" mv:drive=\"-0.5\" mv:slope=\"6dB\"/>";
    g.insert =
        "<mv:insert mv:type=\"Chorus\" mv:bypass=\"false\"><mv:param mv:name=\"rate\" mv:value=\"0.1\"/></mv:insert>";
    g.sends = "<mv:send mv:dest=\"FX2\" mv:level=\"0.25\" mv:pre-fader=\"true\"/><mv:send mv:dest=\"M 3+4\"/>";
    g.entries =
        "<mv:entry mv:source=\"External Controller 16\" mv:destination=\"Filter Freq\" mv:amount=\"-350 Hz\" "
        "mv:via=\"Param 127\" mv:amount_via=\"2000 Hz\" mv:frozen=\"false\" mv:enabled=\"false\"/>";
    g.splits =
        "<mv:split mv:key=\"0\" mv:wave=\"1\" mv:root=\"no\" mv:fine=\"-50\" mv:loop=\"0\" mv:release=\"-1\"/>"
        "<mv:split mv:key=\"60\" mv:matrix=\"2\"/>";
    g.switcher =
        "<mv:switcher mv:source=\"Random\" mv:rand-lo=\"-0.5\" mv:rand-hi=\"0.5\" mv:key-lo=\"C4\" "
        "mv:bpm-hi=\"500\" mv:round-robin-source=\"MIDI\" mv:enabled=\"true\"/>";
    const std::string program =
        programDocument("mv:created-by=\"2400\" mv:compat=\"2400\" mv:interpolation=\"Hermite\" mv:icon=\"piano\"",
                        "<mv:wave mv:id=\"1\" mv:path=\"a.wav\" mv:root=\"60\" mv:tempo=\"120.5\">"
                        "<mv:loop mv:name=\"one\" mv:start=\"0\" mv:end=\"10\" mv:mode=\"PinnedSlice\"/></mv:wave>"
                        "<mv:wavematrix mv:id=\"2\" mv:path=\"m.mvmatrix\"/>",
                        g.text());
    const std::string performance = document(
        "performance", "mv:name=\"Perf\" mv:compat=\"2400\"",
        "<mv:slot mv:name=\"Lead\" mv:channel=\"16\" mv:program=\"p.mvprog\" mv:output=\"M 1+2\" mv:poly=\"256\" "
        "mv:mute=\"2\"><mv:amp mv:value=\"0.5\" mv:automation=\"Param 00\"/><mv:detune mv:value=\"-50\"/>"
        "<mv:send mv:dest=\"FX1\"><mv:level mv:value=\"1\" mv:automation=\"Param 127\"/></mv:send></mv:slot>"
        "<mv:fx mv:bus=\"FX6\" mv:type=\"Reverb\" mv:output=\"None\" mv:wet=\"100 %\" mv:level=\"0.5\">"
        "<mv:param mv:name=\"roomsize\" mv:value=\"0.7\" mv:automation=\"Param 01\"/></mv:fx>");
    const std::string bank = document(
        "bank", "mv:interpolation=\"Draft\" mv:created-by=\"2400\"",
        "<mv:xctrl mv:ctrl=\"7\" mv:offset=\"-3\"/><mv:midi mv:program-change-mode=\"Off\" mv:use-bank-select=\"1\"/>"
        "<mv:automation mv:param=\"Param 05\" mv:offset=\"0.5\"/>"
        "<mv:output mv:name=\"M 1\" mv:enabled=\"1\" mv:stereo=\"true\"/>"
        "<mv:wave mv:path=\"a.wav\"/><mv:wavematrix mv:path=\"m.mvmatrix\"/><mv:program mv:path=\"p.mvprog\"/>"
        "<mv:performance mv:path=\"x.mvperf\" mv:active=\"true\"/>");
    return {{"program", program},
            {"performance", performance},
            {"bank", bank},
            {"wavematrix", document("wavematrix", "mv:name=\"M\" mv:compat=\"2400\"", kMatrixBody)}};
}

// xmllint's verdict on a document against one of the schema files of the source tree.
int xmllint(const std::string& root, const std::string& path) {
    const std::string command =
        "xmllint --noout --nonet --schema '" + schemaFolder() + "/" + root + ".xsd' '" + path + "' >/dev/null 2>&1";
    return std::system(command.c_str());
}

bool haveXmllint() { return std::system("xmllint --version >/dev/null 2>&1") == 0; }

TEST(XmlSchemaTest, SchemaFilesAcceptTheSamplesAndRefuseWhatTheyMust) {
    if (!haveXmllint()) GTEST_SKIP() << "xmllint (libxml2-utils) is not installed";
    Folder folder;
    for (const auto& [root, text] : sampleDocuments()) {
        EXPECT_EQ(xmllint(root, folder.write(root + ".xml", text)), 0) << root;
        EXPECT_EQ(xmllint(root, folder.write(root + "16.xml", utf16(text))), 0) << root << " in UTF-16";
    }
    // A slot may not play on "(ch)", and "Db4" is no note of the schema, though readers take it.
    const std::string slot =
        document("performance", "", "<mv:slot mv:channel=\"0\" mv:program=\"p\" mv:output=\"(ch)\"/>");
    EXPECT_NE(xmllint("performance", folder.write("slot.xml", slot)), 0);
    GroupDoc flat;
    flat.splits = "<mv:split mv:key=\"Db4\"/>";
    EXPECT_NE(xmllint("program", folder.write("flat.xml", programDocument("", "", flat.text()))), 0);
    // "Param 000" is three digits but not of the pattern.
    flat = GroupDoc();
    flat.entries = "<mv:entry mv:source=\"Param 000\" mv:destination=\"Pan\" mv:amount=\"1\" mv:frozen=\"0\"/>";
    EXPECT_NE(xmllint("program", folder.write("param.xml", programDocument("", "", flat.text()))), 0);
}

TEST(XmlSchemaTest, CompiledTextsAreTheSchemaFiles) {
    for (const char* name : {"shared.xsd", "bank.xsd", "program.xsd", "performance.xsd", "wavematrix.xsd"})
        EXPECT_EQ(schemaText(name), MV::Test::readAll(schemaFolder() + "/" + name)) << name;
    EXPECT_TRUE(schemaText("other.xsd").empty());
}

// Records the elements it is told of.
struct Recorder : ZnLib::XML::DefaultHandler {
    void startElement(std::string_view uri, std::string_view localName, std::string_view,
                      const ZnLib::XML::Attributes& attributes) override {
        names += std::string(localName) + " ";
        lastUri = uri;
        if (const std::string* name = attributes.find("name")) lastName = *name;
        if (localName == fail) throw std::runtime_error("handler refused " + fail);
    }
    std::string names;
    std::string lastUri;
    std::string lastName;
    std::string fail;
};

TEST(XmlSchemaTest, EveryAcceptedNamespacePassesInBothEncodings) {
    for (std::string_view base : Schemas::kBases)
        for (std::string version : {"", "1.0/", "2.0/"}) {
            const std::string uri = std::string(base) + version + "wavematrix";
            ASSERT_TRUE(Schemas::accepts(uri));
            const std::string text = document("wavematrix", "mv:name=\"&lt;M&amp;\"", kMatrixBody, "UTF-16", uri);
            Recorder r;
            const std::string doc = utf16(text);
            XmlParser::parse(r, bytes(doc), "m");
            EXPECT_EQ(r.names, "wavematrix wave xaxis yaxis column row cell cell ") << uri;
            EXPECT_EQ(r.lastUri, uri);
        }
    Recorder r;
    XmlParser::parse(r, bytes(document("bank", "", "<mv:output mv:name=\"\xC3\xA9\"/>")), "b");
    EXPECT_EQ(r.lastName, "\xC3\xA9");
    EXPECT_FALSE(Schemas::accepts("http://www.morvek.audio/schemas/3.0/bank"));
    EXPECT_FALSE(Schemas::accepts("http://www.morvek.audio/schemas/2.0/banks"));
}

std::string parseError(const std::string& text, const std::string& fail = "") {
    Recorder r;
    r.fail = fail;
    try {
        XmlParser::parse(r, bytes(text), "doc");
    } catch (const std::exception& e) {
        return e.what();
    }
    return "";
}

TEST(XmlSchemaTest, FailuresCarryTheParsersText) {
    const std::string whole = document("bank", "", "<mv:midi/>");
    const std::string axes = "<mv:xaxis mv:source=\"--\"/><mv:yaxis mv:source=\"--\"/>";
    const std::string twoCells = axes + "<mv:row mv:value=\"0\"><mv:cell/><mv:cell/></mv:row>";
    struct Case {
        const char* name;
        std::string text, refusedBy, error;  // an error of "" passes; others need only be part of the text
    } cases[] = {
        {"attribute", document("bank", "mv:bogus=\"1\"", ""), "",
         "The attribute '{" + Schemas::documentNamespace("bank") + "}bogus' is not allowed"},
        // A namespace of no schema: the root has no declaration to be validated by.
        {"namespace", document("bank", "", "", "UTF-8", "http://example.com/bank"), "", "No matching global"},
        {"cut", whole.substr(0, whole.size() - 11), "", "Extra content at the end of the document"},
        // The schema's verdict on an element comes first; a valid element's failure is the handler's.
        {"invalid value", document("bank", "", "<mv:midi mv:use-bank-select=\"maybe\"/>"), "midi", "maybe"},
        {"handler", whole, "midi", "handler refused midi"},
        // The matrix schema cannot count cells; a missing row it can.
        {"cells", document("wavematrix", "mv:name=\"M\"", twoCells), "", ""},
        {"no row", document("wavematrix", "mv:name=\"M\"", axes), "", "Missing child element"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.error.empty())
            EXPECT_EQ(parseError(c.text, c.refusedBy), "");
        else
            EXPECT_THAT(parseError(c.text, c.refusedBy), testing::HasSubstr(c.error));
    }
    EXPECT_FALSE(parseError("").empty());
}

// A small valid document of the root that ends `uri`.
std::string smallDocument(const std::string& uri) {
    const std::string root = uri.substr(uri.rfind('/') + 1);
    if (root == "wavematrix") return document(root, "mv:name=\"x\"", kMatrixBody, "UTF-8", uri);
    if (root == "program") {
        const std::string range = "<mv:range mv:lowkey=\"0\" mv:highkey=\"1\" mv:lowvel=\"0\" mv:highvel=\"1\"/>";
        return document(root, "mv:name=\"x\"", range, "UTF-8", uri);
    }
    return document(root, "", "", "UTF-8", uri);
}

TEST(XmlSchemaTest, ParsesOnSeveralThreadsShareTheCache) {
    // Each thread meets namespaces whose schemas may not be compiled yet.
    std::vector<std::thread> threads;
    std::atomic<int> parsed{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t, &parsed] {
            for (int i = 0; i < 6; ++i) {
                const std::string uri = std::string(Schemas::kBases[std::size_t(i % 3)]) + (t % 2 ? "1.0/" : "") +
                                        std::string(Schemas::kRoots[std::size_t((i + t) % 4)]);
                if (parseError(smallDocument(uri)).empty()) ++parsed;
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(parsed, 24);
}

TEST(XmlSchemaTest, ElementNamesAreMatchedExactly) {
    EXPECT_EQ(MVHandler::elementCode("split"), MVHandler::kSplit);
    EXPECT_EQ(MVHandler::elementCode("Bank"), MVHandler::kUnknown);
}

}  // namespace
}  // namespace MV
