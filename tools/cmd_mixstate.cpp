// audatoms mixstate convert IN OUT [--outputs N]
#include "tools/Commands.h"
#include "tools/FileCheck.h"
#include "tools/TextParse.h"
#include "tools/ToolError.h"

#include "AudAtoms/mixer/Aud__SimpleMixState.h"
#include "platform/HostTypes.h"
#include "platform/IniFile.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <memory>

namespace audtool {

namespace {

struct MixstateOptions {
    std::filesystem::path in;
    std::filesystem::path out;
    unsigned outputs = 2;
};

enum class Form { kText, kStream };

Form formOf(const std::filesystem::path& path) {
    std::string ext = lower(path.extension().string());
    if (!ext.empty()) ext.erase(0, 1);
    if (ext == "ini" || ext == "txt" || ext == "cfg") return Form::kText;
    if (ext == "mixstate" || ext == "strm" || ext == "bin") return Form::kStream;
    throw InputError(path.string() + ": unknown mixer state file type '." + ext +
                     "' (configuration text: .ini, .txt, .cfg; object stream: .mixstate, .strm, .bin)");
}

const char* formName(Form form) { return form == Form::kText ? "text" : "stream"; }

// Text: nothing on standard output; the note says what was written. JSON: the files,
// their forms and the dimensions of the mixer state.
struct ConvertResult final : Result {
    std::string in, out;
    Form from = Form::kText, to = Form::kText;
    int inputs = 0, mixes = 0, outputSlots = 0;

    std::string text() const override { return ""; }
    nlohmann::json json() const override {
        return {{"input", in},
                {"input_form", formName(from)},
                {"output", out},
                {"output_form", formName(to)},
                {"inputs", inputs},
                {"mixes", mixes},
                {"output_slots", outputSlots}};
    }
};

std::unique_ptr<Result> runConvert(const MixstateOptions& o) {
    const Form from = formOf(o.in), to = formOf(o.out);
    if (o.outputs < 2 || o.outputs > 16) throw InputError("--outputs must be from 2 to 16");
    requireReadableFile(o.in, "a mixer state file");
    Aud::SimpleMixState state;
    std::string error;
    if (from == Form::kStream) {
        if (!state.loadFromStreamFile(o.in.string(), &error)) throw InputError(o.in.string() + ": " + error);
        if (!state.valid()) throw InputError(o.in.string() + ": the record holds a mixer state without dimensions");
    } else {
        QmIniFile ini;
        if (!ini.load(o.in.string(), &error)) throw InputError(o.in.string() + ": " + error);
        bool any = false;
        for (const auto& name : ini.sectionNames()) any = any || name.toStd().rfind("SimpleMixState", 0) == 0;
        if (!any) throw InputError(o.in.string() + ": no SimpleMixState sections in this file");
        state.init(EditChanMaxAudio, 4, int(o.outputs) + 2);
        state.retrieveCompatibleConfigurationInformation(ini);
    }
    if (to == Form::kStream) {
        if (!state.saveToStreamFile(o.out.string(), &error))
            throw OutputError(o.out.string() + ": cannot write: " + error);
    } else {
        QmIniFile ini;
        state.storeCompatibleConfigurationInformation(ini);
        if (!ini.save(o.out.string(), &error)) throw OutputError(o.out.string() + ": cannot write: " + error);
    }
    auto result = std::make_unique<ConvertResult>();
    result->in = o.in.string();
    result->out = o.out.string();
    result->from = from;
    result->to = to;
    result->inputs = state.numInputChans();
    result->mixes = state.numMixChans();
    result->outputSlots = state.numOutputChans();
    result->note = formatText("wrote %s (%d inputs, %d mixes, %d output slots)\n", result->out.c_str(), result->inputs,
                              result->mixes, result->outputSlots);
    return result;
}

}  // namespace

void addMixstateCommand(CLI::App& app, const GlobalOptions&, Action& action) {
    CLI::App* sub = app.add_subcommand("mixstate", "Mixer state files");
    sub->require_subcommand(1);
    auto o = std::make_shared<MixstateOptions>();
    CLI::App* conv = sub->add_subcommand("convert", "Convert between the configuration text and the object stream");
    conv->footer("The form follows each file's extension: .ini/.txt/.cfg are the configuration text\n"
                 "(the SimpleMixState sections), .mixstate/.strm/.bin the binary object stream record.\n"
                 "Text carries no dimensions: it is read into 32 inputs, 4 mixes and --outputs outputs.");
    conv->add_option("IN", o->in, "File to read")->required();
    conv->add_option("OUT", o->out, "File to write")->required();
    conv->add_option("--outputs", o->outputs, "Real outputs when reading text (2 to 16)")->capture_default_str();
    conv->callback([&action, o] { action = [o] { return runConvert(*o); }; });
}

}  // namespace audtool
