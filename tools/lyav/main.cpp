// lyav: pictures, timing and audio cadence through LyAVUtils from the command line.
#include "lyav.h"

#include "memory/LyCpu.h"

#include <cstdio>
#include <cstring>

namespace lyav {

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = {
        {"bars", "75% or 100% colour bars in any format", RunBars},
        {"fill", "a solid named or hex colour in any format", RunFill},
        {"grid", "a two-colour checkerboard in any format", RunGrid},
        {"convert", "PNG <-> raw BGRA, VUYA, UYVY (8/16 bit), YUYV + alpha", RunConvert},
        {"planar", "raw planar yuv420p / yuv422p / yuv411p <-> raw UYVY", RunPlanar},
        {"mix", "straight-alpha SOURCE over DESTINATION (optionally through a mask)", RunMix},
        {"opacity", "flatten a straight-alpha picture onto a picture, a colour or black", RunOpacity},
        {"blend", "weighted blend of two pictures, optional row averaging", RunBlend},
        {"wipe", "one frame (or a run of frames) of a wipe from A to B", RunWipe},
        {"fade", "scale alpha uniformly or by a horizontal / vertical ramp", RunFade},
        {"mask", "apply or subtract an 8-bit mask to a picture's alpha", RunMask},
        {"deflicker", "vertical (or 3x3) deflicker filter", RunDeflicker},
        {"scale", "resample a picture to a new size", RunScale},
        {"gray", "luma of a picture, or one of its channels, as grey", RunGray},
        {"timecode", "frame number <-> timecode text at the eight rates", RunTimecode},
        {"cadence", "audio samples per video frame", RunCadence},
        {"demo", "render the title pipeline demo into a directory", RunDemo},
        {"crawl", "a title moving by fractions of a pixel, as PNG frames", RunCrawl},
        {"bench", "time the main operations on 1920x1080 frames", RunBench},
        {"info", "thread pool, processor features and kernel set", RunInfo},
    };
    return commands;
}

int RunInfo(const std::vector<std::string>& argv) {
    Args args("info", argv, {});
    if (PrintedHelp(args, "usage: lyav info\n"
                          "Prints the thread pool's worker count, the processor feature level and the\n"
                          "row-kernel set the library chose on this machine.\n"))
        return 0;
    args.ExpectPositional(0, "no arguments");
    static const char* const kIsaNames[] = {"scalar", "SSE2", "AVX2"};
    const SLyVersionInfo version = LyGetVersionInfo();
    const uint32_t level = ly::ProcessorFeatureLevel();
    std::printf("LyAVUtils %s\n", version.versionString);
    std::printf("thread pool workers: %d\n", LyThreadPool::ThreadCount());
    std::printf("processor feature level: %u (MMX %s, SSE %s, SSE2 %s)\n", level, level & 1u ? "yes" : "no",
                level & 2u ? "yes" : "no", level & 4u ? "yes" : "no");
    std::printf("row kernels: %s\n", kIsaNames[version.instructionSet]);
    return 0;
}

namespace {

void PrintUsage(std::FILE* out) {
    std::fprintf(out,
                 "usage: lyav COMMAND [options] [files]   (lyav COMMAND --help for each)\n\n"
                 "Commands:\n");
    for (const auto& c : Commands()) std::fprintf(out, "  %-10s %s\n", c.name, c.summary);
    std::fprintf(out,
                 "\nPictures ending in .png are read and written as PNG; other files are raw\n"
                 "frames in the layout given by --format (and --size WxH when reading).\n"
                 "Errors print one line on stderr and exit with status 2; an output file\n"
                 "appears only when it was written completely.\n\n%s",
                 kLayoutHelp);
}

}  // namespace
}  // namespace lyav

int main(int argc, char** argv) {
    using namespace lyav;
    if (argc < 2) {
        PrintUsage(stderr);
        return 2;
    }
    const std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        PrintUsage(stdout);
        return 0;
    }
    const std::vector<std::string> rest(argv + 2, argv + argc);
    int status = 2;
    try {
        const Command* command = nullptr;
        for (const auto& c : Commands())
            if (name == c.name) command = &c;
        if (!command) Fail("unknown command '" + name + "' (lyav --help lists them)");
        status = command->run(rest);
    } catch (const Failure& f) {
        const std::string what = f.what();
        std::fprintf(stderr, "%s%s\n", what.rfind("lyav ", 0) == 0 ? "" : "lyav: ", what.c_str());
        status = 2;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "lyav: out of memory\n");
        status = 2;
    }
    LyThreadPool::Exit();
    return status;
}
