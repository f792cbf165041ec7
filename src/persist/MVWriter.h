#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace MV {

class Bank;
class DocumentReferences;
class Performance;
class Program;
class WaveMatrix;

// Writes the four kinds of document as text: each element and attribute a literal with its
// tabs, so that files stay stable and easy to compare. Items a document refers to go through
// `references`, which saves them and gives their relative paths (MVSave), or gives their
// indices in a bank for a state chunk (ChunkReferences). The result is UTF-8; XmlOut::utf16
// makes the bytes of a file. [ui-thread] the thread of the save, no lock held (the items must
// not change meanwhile).
class MVWriter {
public:
    // The document format the writers produce.
    static constexpr uint32_t kCompat = 2400;
    // The `created-by` of written documents: the product version, its digits read as one number
    // (1.0.1.1 is 1011), never below the format, so that no reader takes them for old documents.
    static uint32_t createdBy();

    explicit MVWriter(DocumentReferences& references) : refs_(references) {}

    std::string bank(const Bank& bank);
    std::string program(const Program& program);
    std::string performance(const Performance& performance);
    std::string matrix(const WaveMatrix& matrix);

    // Documents of a state chunk, in memory: UTF-16 with a byte order mark, every reference an
    // index into the lists of `bank`.
    static std::vector<uint8_t> chunkText(const Bank& bank);
    static std::vector<uint8_t> chunkText(const Program& program, const Bank& bank);
    static std::vector<uint8_t> chunkText(const Performance& performance, const Bank& bank);
    static std::vector<uint8_t> chunkText(const WaveMatrix& matrix, const Bank& bank);

    // The name of a MIDI controller number, as the bank's comments show it.
    static std::string controllerName(int controller);

private:
    DocumentReferences& refs_;
};

}  // namespace MV
