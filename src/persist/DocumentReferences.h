#pragma once
#include <string>
#include <unordered_map>

namespace ZnPlug {
class Wave;
}

namespace MV {

class Bank;
class Icon;
class Performance;
class Program;
class WaveMatrix;

// What a document writes where it refers to another item: in a file, the path of that item's
// file relative to the document (saving it first where needed); in a state chunk, the item's
// index in the bank's list. Called by the writers on the thread of the save [ui-thread].
class DocumentReferences {
public:
    virtual ~DocumentReferences() = default;
    // Documents of a state chunk: indices in place of paths, icons by absolute path.
    virtual bool embedded() const = 0;
    virtual std::string wave(ZnPlug::Wave& wave) = 0;
    virtual std::string matrix(WaveMatrix& matrix) = 0;
    virtual std::string program(Program& program) = 0;
    virtual std::string performance(Performance& performance) = 0;
    // The icon file's path as the program document holds it.
    virtual std::string icon(Icon& icon) = 0;
};

// The references of a state chunk's documents: positions in the lists of `bank`, which must
// hold every item referred to ("Not in the bank: " and the item's name otherwise).
class ChunkReferences : public DocumentReferences {
public:
    explicit ChunkReferences(const Bank& bank);

    bool embedded() const override { return true; }
    std::string wave(ZnPlug::Wave& wave) override;
    std::string matrix(WaveMatrix& matrix) override;
    std::string program(Program& program) override;
    std::string performance(Performance& performance) override;
    std::string icon(Icon& icon) override;

private:
    std::unordered_map<const void*, std::size_t> index_;
};

}  // namespace MV
