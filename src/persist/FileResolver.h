#pragma once
#include <string>
#include <vector>

#include "lib/File.h"

namespace MV {

class FindMissing;

// The search for a file that a document names, also when the document or its waves have moved.
// `places` are root folders; a document written on Windows may name paths with '\' and drive
// letters, which are searched for through the places by cutting them from the left.
//
// Steps: the document's folder (or `base` itself when it is no file) + `path`; each place +
// `path`; `path` cut from the left at each separator, each tail against all places and then the
// document's folder; the last component in the document's folder; last, `findMissing.find`.
// A path given by the user teaches a new root: the part in front of the tail it shares with
// `path` is appended to `places` (unless listed), so later files behind that root are found
// without another question.
//
// Returns the found file, normalised, with its time and size read after the search;
// `placeIndex` is the index in `places` of the place that gave it, or -1. Throws "Could not find
// file " with the path when the file is missing and `findMissing` finds nothing.
// [ui-thread] the thread of the load, no lock held.
ZnLib::FS::File resolve(std::vector<std::string>& places, const ZnLib::FS::File& base, const std::string& path,
                        FindMissing& findMissing, int& placeIndex);

}  // namespace MV
