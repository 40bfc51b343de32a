// Replays a fuzz corpus through a fuzz target's entry point without libFuzzer: every file named
// on the command line, and every file below a folder named there, is one input. A finding shows
// as the target's abort or as a sanitizer's report, so that the test suite sees regressions of
// the corpus in the normal and in the sanitizer build.

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool replay(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return false;
    }
    const QByteArray input = file.readAll();
    // Named before it runs: a finding ends the process.
    std::fprintf(stderr, "%s\n", qPrintable(path));
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.constData()),
                           static_cast<size_t>(input.size()));
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QStringList inputs;
    for (int index = 1; index < argc; ++index) {
        const QString argument = QString::fromLocal8Bit(argv[index]);
        if (QFileInfo(argument).isDir()) {
            QStringList files;
            QDirIterator entries(argument, QDir::Files, QDirIterator::Subdirectories);
            while (entries.hasNext())
                files.append(entries.next());
            // In name order, so that a run is repeated exactly.
            files.sort();
            inputs.append(files);
        } else {
            inputs.append(argument);
        }
    }
    if (inputs.isEmpty()) {
        std::fprintf(stderr, "usage: %s CORPUS_FOLDER_OR_FILE...\n", argv[0]);
        return 2;
    }
    for (const QString& input : inputs) {
        if (!replay(input))
            return 1;
    }
    std::printf("replayed %lld inputs\n", static_cast<long long>(inputs.size()));
    return 0;
}
