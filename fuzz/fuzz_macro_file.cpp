// Feeds the input as a macro file: it is loaded; a macro that loads is saved
// again and the saved file loaded back.
//
//   CXX=clang++ cmake -S . -B build/fuzz -DPANELMFD_BUILD_FUZZ=ON \
//       -DPANELMFD_SANITIZE=address,undefined && cmake --build build/fuzz --target fuzz_macro_file
//   build/fuzz/bin/fuzz_macro_file fuzz/corpus/macro_file -runs=20000

#include <memory>
#include <string>

#include "fuzzsupport.h"

#include "macrorecorder.h"
#include "oskit/LogBackend.h"
#include "oskit/LogManager.h"
#include "oskit/Path.h"

namespace {

struct MacroDirectory : fuzzsupport::ScratchDirectory {
    MacroDirectory() : fuzzsupport::ScratchDirectory("macro-file-fuzz")
    {
        oskit::LogManager::createInstance();
        oskit::logbackend::useNone();
        MacroRecorder::initLog();
    }
};

using fuzzsupport::writeInput;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static MacroDirectory dir;
    const std::filesystem::path input = dir.path / "macro001.mac";
    const std::filesystem::path copy = dir.path / "macro002.mac";

    writeInput(input, data, size);
    std::unique_ptr<MacroRecorder::Macro> macro(MacroRecorder::Macro::load(oskit::Path(input.string()), 3));
    if (macro && macro->save(oskit::Path(copy.string()))) {
        std::unique_ptr<MacroRecorder::Macro> again(MacroRecorder::Macro::load(oskit::Path(copy.string()), 3));
    }
    return 0;
}
