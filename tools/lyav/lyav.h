// Shared pieces of the lyav command-line tool: argument parsing, pictures in
// memory, PNG and raw-frame files, output files that appear only when
// complete, and progress on a terminal.
#ifndef LYAV_TOOL_H
#define LYAV_TOOL_H

#include <LyAVUtils.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace lyav {

// Any problem with the user's input: main prints "lyav: <what>" on one line
// and exits with status 2.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
[[noreturn]] void Fail(const std::string& what);

// ------------------------------------------------------------ arguments

struct OptionDef {
    const char* name;  // without the leading "--"
    bool takesValue;
};

class Args {
public:
    // Parses argv after the subcommand. "-o X" is "--output X"; "--x=v" and
    // "--x v" are the same. Unknown options fail; --help / -h sets help().
    Args(const std::string& command, const std::vector<std::string>& argv, const std::vector<OptionDef>& options);
    bool help() const { return help_; }
    bool Has(const std::string& name) const { return values_.count(name) != 0; }
    std::string Get(const std::string& name, const std::string& fallback = "") const;
    int GetInt(const std::string& name, int fallback, int lo, int hi) const;
    double GetDouble(const std::string& name, double fallback) const;
    const std::vector<std::string>& positional() const { return positional_; }
    // Exactly `count` positional arguments, or fail naming `what`.
    void ExpectPositional(size_t count, const char* what) const;
    const std::string& command() const { return command_; }

private:
    std::string command_;
    std::map<std::string, std::string> values_;
    std::vector<std::string> positional_;
    bool help_ = false;
};

tagSIZE ParseSize(const std::string& text, const std::string& what);  // "WxH", both >= 1
ELyColorimetry ParseColorimetry(const std::string& text);             // bt601 | bt709
ELyFrameRate ParseRate(const std::string& text);                      // 23.976 ... 60
const char* RateName(ELyFrameRate rate);
uint32_t ParseColorWord(const std::string& text);  // named colour or AARRGGBB / RRGGBB hex (BGRA word)
long long ParseInteger(const std::string& text, const std::string& what, long long lo, long long hi);

// ------------------------------------------------------------ pictures

// Layouts a file can hold. Each is exactly the bytes of the named ffmpeg
// pix_fmt (where ffmpeg has one), rows packed without padding.
enum class Layout { Bgra, Vuya, Uyvy422, Uyvy422_16, Y210le, Yuyv422, Yuyva422 };

struct LayoutInfo {
    Layout layout;
    const char* name;
    ELyPixelFormat format;   // the library's format the bytes belong to
    unsigned char depth;     // its bit depth
    bool yuv;
};
const LayoutInfo& InfoOf(Layout layout);
Layout ParseLayout(const std::string& text);
// Bytes of one frame of the layout (0 when the width is not allowed).
uint64_t LayoutBytes(Layout layout, int width, int height);
extern const char* const kLayoutHelp;  // the raw layouts, documented against the library's formats

// A picture in one layout, rows packed (pitch = the layout's row bytes; for
// Yuyva422 the 16-bit alpha plane follows the packed plane, with the same pitch).
struct Picture {
    int width = 0;
    int height = 0;
    Layout layout = Layout::Bgra;
    std::vector<unsigned char> bytes;
    int Pitch() const;
    unsigned char* Row(int y) { return bytes.data() + static_cast<size_t>(Pitch()) * y; }
    const unsigned char* Row(int y) const { return bytes.data() + static_cast<size_t>(Pitch()) * y; }
};
Picture MakePicture(int width, int height, Layout layout);

// Conversions through the library's converters.
Picture ToBgra(const Picture& in, ELyColorimetry colorimetry);
Picture FromBgra(const Picture& bgra, Layout layout, ELyColorimetry colorimetry);
Picture ToVuya(const Picture& in, ELyColorimetry colorimetry);
Picture FromVuya(const Picture& vuya, Layout layout, ELyColorimetry colorimetry);

// ------------------------------------------------------------ files

bool IsPngPath(const std::string& path);
Picture ReadPng(const std::string& path);  // BGRA, straight alpha
Picture ReadRaw(const std::string& path, Layout layout, int width, int height);
// A file of exactly `want` bytes, or fail saying `what` that size is.
std::vector<unsigned char> ReadBytes(const std::string& path, uint64_t want, const std::string& what);
// Reads a PNG, or a raw frame when `layout` is given for a non-PNG path.
Picture ReadPicture(const std::string& path, const Args& args, const char* layoutOption = "format");

// Writes go to a temporary name in the target's directory and are renamed
// over the target only when complete, so a failure leaves nothing behind.
void WritePng(const std::string& path, const Picture& bgra);
void WriteGrayPng(const std::string& path, const std::vector<unsigned char>& gray, int width, int height);
void WriteRaw(const std::string& path, const Picture& picture);
void WriteBytes(const std::string& path, const std::vector<unsigned char>& bytes);
// PNG when the path ends in .png (converting to BGRA), else the raw bytes.
void WritePicture(const std::string& path, const Picture& picture, ELyColorimetry colorimetry);

// ------------------------------------------------------------ progress and timing

// "label done/total" on stderr when stderr is a terminal; silent otherwise.
class Progress {
public:
    Progress(const std::string& label, int total);
    ~Progress();
    void Step();

private:
    std::string label_;
    int total_;
    int done_ = 0;
    bool show_;
};

double NowSeconds();

// ------------------------------------------------------------ subcommands

struct Command {
    const char* name;
    const char* summary;
    int (*run)(const std::vector<std::string>& argv);
};
const std::vector<Command>& Commands();

int RunBars(const std::vector<std::string>&);
int RunFill(const std::vector<std::string>&);
int RunGrid(const std::vector<std::string>&);
int RunConvert(const std::vector<std::string>&);
int RunMix(const std::vector<std::string>&);
int RunOpacity(const std::vector<std::string>&);
int RunBlend(const std::vector<std::string>&);
int RunWipe(const std::vector<std::string>&);
int RunFade(const std::vector<std::string>&);
int RunMask(const std::vector<std::string>&);
int RunDeflicker(const std::vector<std::string>&);
int RunScale(const std::vector<std::string>&);
int RunGray(const std::vector<std::string>&);
int RunTimecode(const std::vector<std::string>&);
int RunCadence(const std::vector<std::string>&);
int RunPlanar(const std::vector<std::string>&);
int RunDemo(const std::vector<std::string>&);
int RunCrawl(const std::vector<std::string>&);
int RunBench(const std::vector<std::string>&);
int RunInfo(const std::vector<std::string>&);

// Prints `usage` to stdout when --help was given; returns true then.
bool PrintedHelp(const Args& args, const char* usage);

}  // namespace lyav

#endif
