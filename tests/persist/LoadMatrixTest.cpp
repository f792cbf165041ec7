#include <gtest/gtest.h>

#include "XmlTestSupport.h"
#include "lib/Error.h"
#include "persist/WireFormModulation.h"

namespace MV {
namespace {

using namespace XmlTest;

const std::string kAxes =
    "<mv:xaxis mv:source=\"Vel\" mv:invert=\"true\" mv:round-robin-source=\"Group\"/>"
    "<mv:yaxis mv:source=\"Midi CC 1\"/>";

std::string matrixDocument(const std::string& body, const std::string& attributes = "mv:compat=\"2400\"") {
    return utf16(document("wavematrix", "mv:name=\"Grid\" " + attributes, body));
}

TEST(LoadMatrixTest, CellsTakeBothLoopsFromLoop) {
    Folder folder;
    writeWave(folder.path("a.wav"), 100, 3);
    writeWave(folder.path("b.wav"), 100, 1);
    const std::string body = "<mv:wave mv:id=\"3\" mv:path=\"a.wav\"/><mv:wave mv:id=\"4\" mv:path=\"b.wav\"/>" +
                             kAxes +
                             "<mv:column mv:value=\"64\"/>"
                             "<mv:row mv:value=\"0\"><mv:cell mv:wave=\"3\" mv:loop=\"1\" mv:release=\"2\"/>"
                             "<mv:cell mv:wave=\"&lt;none&gt;\"/></mv:row>"
                             "<mv:row mv:value=\"100\"><mv:cell mv:wave=\"4\" mv:loop=\"2\" mv:release=\"0\"/>"
                             "<mv:cell mv:wave=\"3\" mv:release=\"2\"/></mv:row>";
    Loader loader;
    auto matrix = loader.load.loadMatrix(folder.write("m.mvmatrix", matrixDocument(body)));
    ASSERT_EQ(matrix->columns(), 2u);
    ASSERT_EQ(matrix->rows(), 2u);
    EXPECT_EQ(matrix->thresholds, (std::vector<uint8_t>{0, 64, 0, 100}));
    EXPECT_EQ(matrix->name(), "Grid");
    EXPECT_TRUE(matrix->xAxis.invert);
    EXPECT_EQ(matrix->xAxis.source, 12);
    EXPECT_EQ(matrix->xAxis.roundRobinSource, kRoundRobinGroup);
    EXPECT_EQ(matrix->yAxis.source, WireFormModulation::kFirstMidiCC + 1);
    // The release index is read from `loop` too; then both are cut to the wave's loops.
    const auto& first = matrix->cell(0, 0);
    EXPECT_EQ(first.wave->name(), "a");
    EXPECT_EQ(first.loop, 1);
    EXPECT_EQ(first.release, 1);
    EXPECT_TRUE(matrix->cell(1, 0).wave->isNone());
    EXPECT_EQ(matrix->cell(0, 1).loop, 0);
    EXPECT_EQ(matrix->cell(0, 1).release, 0);
    EXPECT_EQ(matrix->cell(1, 1).loop, 0);
    EXPECT_EQ(matrix->cell(1, 1).release, 0);
    EXPECT_EQ(loader.bank->matrixes.size(), 1u);
    EXPECT_EQ(loader.bank->waves.size(), 2u);
    EXPECT_EQ(matrix->file().path(), folder.path("m.mvmatrix"));
    EXPECT_FALSE(matrix->modified());
}

std::string loadError(Folder& folder, const std::string& body) {
    Loader loader;
    try {
        loader.load.loadMatrix(folder.write("bad.mvmatrix", matrixDocument(body)));
    } catch (const std::exception& e) {
        return ZnLib::describe(e);
    }
    return "";
}

TEST(LoadMatrixTest, RowsMustMatchTheColumns) {
    Folder folder;
    const std::string columns = kAxes + "<mv:column mv:value=\"40\"/><mv:column mv:value=\"80\"/>";
    const std::string full = "<mv:row mv:value=\"0\"><mv:cell/><mv:cell/><mv:cell/></mv:row>";
    EXPECT_EQ(loadError(folder, columns + full), "");
    const std::string prefix = "Could not load " + folder.path("bad.mvmatrix") + "\n - ";
    EXPECT_EQ(loadError(folder, columns + full + "<mv:row mv:value=\"9\"><mv:cell/><mv:cell/></mv:row>"),
              prefix + "Wrong number of cells in row 2");
    EXPECT_EQ(loadError(folder, columns + "<mv:row mv:value=\"0\"><mv:cell/><mv:cell/><mv:cell/><mv:cell/></mv:row>"),
              prefix + "Wrong number of cells in row 1");
    EXPECT_EQ(loadError(folder, kAxes + "<mv:row mv:value=\"0\"><mv:cell mv:wave=\"9\"/></mv:row>"),
              prefix + "No such wave: 9");
}

TEST(LoadMatrixTest, StateChunkIndexesPointIntoTheBank) {
    Loader loader(MVLoad::kChunkMode);
    for (int i = 0; i < 2; ++i) {
        auto wave = ZnLib::makeRef<ZnPlug::Wave>();
        wave->setName("w" + std::to_string(i));
        wave->loops.emplace_back(0, 10, ZnPlug::LoopMode::Forward);
        wave->loops.emplace_back(10, 20, ZnPlug::LoopMode::Forward);
        loader.bank->addWave(wave);
    }
    // The id is the document's own; the path the index into the bank's waves.
    const std::string body = "<mv:wave mv:id=\"0\" mv:path=\"1\"/><mv:wave mv:id=\"1\" mv:path=\"-1\"/>" + kAxes +
                             "<mv:row mv:value=\"0\"><mv:cell mv:wave=\"0\" mv:loop=\"1\" mv:release=\"0\"/></mv:row>";
    const std::string text = matrixDocument(body);
    auto matrix = loader.load.loadMatrixText(bytes(text), ZnLib::FS::File("/x/m.mvmatrix", 5, 6));
    EXPECT_EQ(matrix->cell(0, 0).wave, loader.bank->waves[1]);
    EXPECT_EQ(matrix->cell(0, 0).release, 1);
    EXPECT_EQ(matrix->file(), ZnLib::FS::File("/x/m.mvmatrix", 5, 6));

    const std::string past =
        matrixDocument("<mv:wave mv:id=\"0\" mv:path=\"2\"/>" + kAxes + "<mv:row mv:value=\"0\"><mv:cell/></mv:row>",
                       "mv:created-by=\"906\"");
    try {
        loader.load.loadMatrixText(bytes(past));
        ADD_FAILURE() << "an index past the bank's waves loaded";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Wave reference out of range: 2");
    }
}

}  // namespace
}  // namespace MV
