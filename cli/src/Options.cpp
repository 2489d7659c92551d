#include "Options.h"

#include <cstdlib>
#include <cstring>

namespace {

bool ParseUnsigned(const std::string& text, uint32_t& value) {
    if (text.empty()) return false;
    char* end = nullptr;
    unsigned long v = std::strtoul(text.c_str(), &end, 10);
    if (*end != '\0' || text[0] == '-' || v > 0xFFFFFFFFul) return false;
    value = static_cast<uint32_t>(v);
    return true;
}

bool ParseInt(const std::string& text, int& value) {
    if (text.empty()) return false;
    char* end = nullptr;
    long v = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0' || v < -2147483647L || v > 2147483647L) return false;
    value = static_cast<int>(v);
    return true;
}

}  // namespace

const char* UsageText() {
    return "usage: zorv-decode [options] INPUT...\n"
           "Decodes AAC, HE-AAC, xHE-AAC and Apple Lossless files (MP4/M4A, ADTS, ADIF) to WAV.\n"
           "\n"
           "  -o, --output PATH     output file (one input) or directory (several); - = standard output\n"
           "                        (default: the input's name with .wav, or .pcm with -f raw)\n"
           "  -f, --format wav|raw  WAV file, or the PCM bytes exactly as delivered (default wav)\n"
           "  -t, --track N         sound track to decode, from 1 (default 0: the first suitable)\n"
           "  -s, --start SECONDS   start decoding at this time\n"
           "  -j, --jobs N          decode up to N inputs at once (default: one per core)\n"
           "      --no-affinity     leave each job on whatever core the system picks (default: every\n"
           "                        job shares one core with the thread that writes its output)\n"
           "  -q, --quiet           no progress, no messages but errors\n"
           "      --info            print each input's format (and an MP4 file's sound tracks), write nothing\n"
           "      --drc on|off      xHE-AAC dynamic range control and loudness normalisation (default off)\n"
           "      --loudness N      xHE-AAC target loudness, decoder units (default -1)\n"
           "      --drc-effect N    xHE-AAC DRC effect code (default 0: decoder default)\n"
           "      --module PATH     decoder module to load (default zorv_aac beside this program)\n"
           "  -h, --help            this text\n"
           "\n"
           "Exit status: 0 all inputs decoded, 1 some input failed, 2 usage or output error,\n"
           "130 interrupted (the files written so far are valid and shorter).\n";
}

bool ParseOptions(int argc, char** argv, Options& options, std::string& error, bool& help) {
    help = false;
    bool endOfOptions = false;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (endOfOptions || arg.empty() || arg[0] != '-' || arg == "-") {
            options.inputs.push_back(arg);
            continue;
        }
        if (arg == "--") {
            endOfOptions = true;
            continue;
        }
        std::string value;
        bool hasInlineValue = false;
        if (arg.rfind("--", 0) == 0) {
            size_t eq = arg.find('=');
            if (eq != std::string::npos) {
                value = arg.substr(eq + 1);
                arg = arg.substr(0, eq);
                hasInlineValue = true;
            }
        }
        auto needValue = [&](std::string& out) -> bool {
            if (hasInlineValue) {
                out = value;
                return true;
            }
            if (i + 1 >= argc) {
                error = "option " + arg + " needs a value";
                return false;
            }
            out = argv[++i];
            return true;
        };
        std::string v;
        if (arg == "-h" || arg == "--help") {
            help = true;
            return true;
        } else if (arg == "-o" || arg == "--output") {
            if (!needValue(options.output)) return false;
        } else if (arg == "-f" || arg == "--format") {
            if (!needValue(v)) return false;
            if (v == "wav") options.format = OutputFormat::Wav;
            else if (v == "raw") options.format = OutputFormat::Raw;
            else return error = "unknown format '" + v + "' (wav or raw)", false;
        } else if (arg == "-t" || arg == "--track") {
            if (!needValue(v)) return false;
            if (!ParseUnsigned(v, options.trackNumber)) return error = "bad track number '" + v + "'", false;
        } else if (arg == "-s" || arg == "--start") {
            if (!needValue(v)) return false;
            char* end = nullptr;
            options.startSeconds = std::strtod(v.c_str(), &end);
            if (v.empty() || *end != '\0' || !(options.startSeconds >= 0) || options.startSeconds > 1e9)
                return error = "bad start time '" + v + "'", false;
            options.hasStart = true;
        } else if (arg == "-j" || arg == "--jobs") {
            if (!needValue(v)) return false;
            uint32_t jobs = 0;
            if (!ParseUnsigned(v, jobs) || jobs == 0 || jobs > 256) return error = "bad job count '" + v + "'", false;
            options.jobs = jobs;
        } else if (arg == "--no-affinity") {
            options.affinity = false;
        } else if (arg == "-q" || arg == "--quiet") {
            options.quiet = true;
        } else if (arg == "--info") {
            options.info = true;
        } else if (arg == "--drc") {
            if (!needValue(v)) return false;
            if (v == "on") options.drcEnabled = true;
            else if (v == "off") options.drcEnabled = false;
            else return error = "--drc takes on or off", false;
        } else if (arg == "--loudness") {
            if (!needValue(v)) return false;
            if (!ParseInt(v, options.loudness)) return error = "bad loudness '" + v + "'", false;
        } else if (arg == "--drc-effect") {
            if (!needValue(v)) return false;
            if (!ParseInt(v, options.drcEffect)) return error = "bad DRC effect '" + v + "'", false;
        } else if (arg == "--module") {
            if (!needValue(options.modulePath)) return false;
        } else {
            error = "unknown option " + arg;
            return false;
        }
    }
    if (options.inputs.empty()) {
        error = "no input file";
        return false;
    }
    return true;
}
