#include "tools/MixerUi.h"

#include "tools/Meters.h"
#include "tools/PlayReport.h"
#include "tools/Player.h"
#include "tools/Result.h"

#include "AudAtoms/kernels/Aud__GainCurve.h"
#include "AudAtoms/metering/Aud__MonitoringPoint.h"

#include <ncurses.h>

#include <algorithm>
#include <csignal>
#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace audtool {

namespace {

constexpr double kHoldSeconds = 2.0;  // how long a meter's peak hold stays
constexpr int kMeterWidth = 24;       // characters for -60 .. 0 dBFS

struct Meter {
    std::vector<std::unique_ptr<Aud::MonitoringPointReader>> readers;  // the max of these
    float live = 0, hold = 0;
    double holdTime = 0;
    bool clip = false;

    void update(double now) {
        float peak = 0;
        bool clipped = false;
        for (auto& r : readers) {
            peak = std::max(peak, r->peakValue(true));
            clipped = r->hasClipped(false) || clipped;
        }
        live = peak;
        clip = clipped;
        if (peak >= hold || now - holdTime > kHoldSeconds) {
            hold = peak;
            holdTime = now;
        }
    }
    void clearClip() {
        for (auto& r : readers) r->hasClipped(true);
    }
};

struct Strip {
    bool input = true;
    int index = 0;  // input number, or mix -1 .. 2
    std::string name;
    Meter meter;
};

std::string dbText(double db) {
    if (std::isinf(db) || db < -120) return "  -inf";
    return formatText("%6.1f", db);
}

std::string meterBar(const Meter& m) {
    auto cells = [](float peak) {
        const double db = toDbfs(peak);
        if (std::isinf(db)) return 0;
        return std::clamp(int(std::lround((db + 60.0) / 60.0 * kMeterWidth)), 0, kMeterWidth);
    };
    const int live = cells(m.live), hold = cells(m.hold);
    std::string bar(kMeterWidth, '.');
    for (int i = 0; i < live; ++i) bar[std::size_t(i)] = '#';
    if (hold > 0) bar[std::size_t(hold - 1)] = '|';
    return bar;
}

class Ui {
public:
    explicit Ui(Player& p) : player_(p) {
        const MeterSet& in = p.renderer().inputMeters();
        for (unsigned i = 0; i < p.numInputs(); ++i) {
            Strip s;
            s.index = int(i);
            s.name = formatText("in %2u ", i) + in.label(i);
            s.meter.readers.push_back(std::make_unique<Aud::MonitoringPointReader>(in.readerId(i)));
            strips_.push_back(std::move(s));
        }
        const MeterSet& out = p.renderer().outputMeters();
        for (int m = -1; m < Renderer::kMixBuses - 1; ++m) {
            Strip s;
            s.input = false;
            s.index = m;
            s.name = m < 0 ? "main mix" : formatText("mix %d", m);
            for (unsigned k = 0; k < p.outputs(); ++k)
                if (p.mixer().getMixRoutedToOutput(m, int(k), true) || p.mixer().getMixRoutedToOutput(m, int(k), false))
                    s.meter.readers.push_back(std::make_unique<Aud::MonitoringPointReader>(out.readerId(k)));
            strips_.push_back(std::move(s));
        }
    }

    // False when the user quits.
    bool key(int c) {
        Strip& s = strips_[std::size_t(selected_)];
        Aud::SimpleMixState& mx = player_.mixer();
        const float level = s.input ? mx.getInputLevel(s.index) : mx.getMixLevel(s.index);
        auto setLevel = [&](float v) {
            v = std::clamp(v, 0.0f, 1.5f);
            if (s.input) mx.setInputLevel(s.index, v);
            else mx.setMixLevel(s.index, v);
        };
        switch (c) {
        case 'q': return false;
        case KEY_UP:
        case 'k': selected_ = std::max(0, selected_ - 1); break;
        case KEY_DOWN:
        case 'j': selected_ = std::min(int(strips_.size()) - 1, selected_ + 1); break;
        case KEY_LEFT:
        case '-': setLevel(level - 0.05f); break;
        case KEY_RIGHT:
        case '+':
        case '=': setLevel(level + 0.05f); break;
        case ',':
        case '.':
            if (s.input)
                mx.setInputPan(s.index, std::clamp(mx.getInputPan(s.index) + (c == ',' ? -0.05f : 0.05f), 0.0f, 1.0f));
            break;
        case 'm':
            if (s.input) mx.setInputMuteState(s.index, !mx.getInputMuteState(s.index));
            else mx.setMixMuteState(s.index, !mx.getMixMuteState(s.index));
            break;
        case 's':
            if (s.input) mx.setInputSoloState(s.index, !mx.getInputSoloState(s.index));
            else mx.setMixSoloState(s.index, !mx.getMixSoloState(s.index));
            break;
        case 'a':
        case 'A':
            if (s.input) {
                auto& store = player_.store(unsigned(s.index));
                const double t = player_.positionSeconds();
                const float now = store.empty() ? 1.0f : store.getLevelAtTime(t);
                const float factor = c == 'a' ? 0.70794578f : 1.41253754f;  // -3 dB, +3 dB
                store.insert(Aud::DynamicLevelControl::Store::Node(t, std::min(now * factor, 1000.0f)));
                message_ = formatText("node at %.3f s on input %d", t, s.index);
            }
            break;
        case ' ':
            if (player_.rolling()) player_.pause();
            else {
                if (player_.atEnd()) player_.locate(0);
                player_.play();
            }
            break;
        case '0': player_.locate(0); break;
        case '<': player_.locate(std::max(0.0, player_.positionSeconds() - 5)); break;
        case '>': player_.locate(player_.positionSeconds() + 5); break;
        case 'c':
            for (Strip& x : strips_) x.meter.clearClip();
            break;
        default: break;
        }
        return true;
    }

    void draw(double now) {
        for (Strip& s : strips_) s.meter.update(now);
        erase();
        mvprintw(0, 0, "audatoms play   %u Hz, period %u frames   (q quit, space start/stop, arrows select/fader)",
                 player_.rate(), player_.period());
        mvprintw(1, 0,
                 "   strip                         fader  gain dB  pan   M S  meter (-60..0 dBFS)        hold   clip");
        const int rows = std::max(1, LINES - 5);
        const int first = std::clamp(selected_ - rows / 2, 0, std::max(0, int(strips_.size()) - rows));
        Aud::SimpleMixState& mx = player_.mixer();
        for (int r = 0; r < rows && first + r < int(strips_.size()); ++r) {
            const Strip& s = strips_[std::size_t(first + r)];
            const float level = s.input ? mx.getInputLevel(s.index) : mx.getMixLevel(s.index);
            const double db = toDbfs(Aud::GainCurve::MixerStyleLog1::UVal2Mag(level));
            const bool mute = s.input ? mx.getInputMuteState(s.index) : mx.getMixMuteState(s.index);
            const bool solo = s.input ? mx.getInputSoloState(s.index) : mx.getMixSoloState(s.index);
            const std::string pan = s.input ? formatText("%4.2f", double(mx.getInputPan(s.index))) : "    ";
            std::string name = s.name.substr(0, 28);
            name.resize(28, ' ');
            mvprintw(2 + r, 0, "%s %s  %5.3f  %s  %s  %c %c  %s  %s  %s", first + r == selected_ ? ">" : " ",
                     name.c_str(), double(level), dbText(db).c_str(), pan.c_str(), mute ? 'M' : '.', solo ? 'S' : '.',
                     meterBar(s.meter).c_str(), dbText(toDbfs(s.meter.hold)).c_str(), s.meter.clip ? "CLIP" : "");
        }
        mvprintw(LINES - 2, 0, "%s", message_.c_str());
        mvprintw(LINES - 1, 0, "%s  load %.1f %%", playStatusLine(player_).c_str(), double(player_.serverLoad()));
        refresh();
    }

private:
    Player& player_;
    std::vector<Strip> strips_;
    int selected_ = 0;
    std::string message_;
};

volatile std::sig_atomic_t gStop = 0;
extern "C" void stopUi(int) { gStop = 1; }

}  // namespace

void runMixerUi(Player& player, const std::function<void()>& tick, double limitSeconds) {
    Ui ui(player);
    // Ctrl-C and a stop signal end the mixer like q, so that the terminal is restored.
    struct sigaction stop {
    }, oldInt{}, oldTerm{};
    stop.sa_handler = stopUi;
    sigemptyset(&stop.sa_mask);
    gStop = 0;
    ::sigaction(SIGINT, &stop, &oldInt);
    ::sigaction(SIGTERM, &stop, &oldTerm);
    initscr();
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    curs_set(0);
    timeout(40);  // milliseconds: the refresh period
    const auto t0 = std::chrono::steady_clock::now();
    auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(); };
    bool go = true;
    while (go && !gStop && elapsed() < limitSeconds && !player.serverGone()) {
        tick();
        ui.draw(elapsed());
        const int c = getch();
        if (c != ERR) go = ui.key(c);
    }
    endwin();
    ::sigaction(SIGINT, &oldInt, nullptr);
    ::sigaction(SIGTERM, &oldTerm, nullptr);
}

}  // namespace audtool
