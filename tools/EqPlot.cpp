#include "tools/EqPlot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace audtool {

namespace {

double toDb(float magnitude) {
    if (!(magnitude > 0)) return -200.0;
    return 20.0 * std::log10(double(magnitude));
}

std::string fmt(const char* f, double v) {
    char b[64];
    std::snprintf(b, sizeof b, f, v);
    return b;
}

std::string escape(const std::string& s) {
    std::string o;
    for (char c : s) {
        if (c == '&') o += "&amp;";
        else if (c == '<') o += "&lt;";
        else if (c == '>') o += "&gt;";
        else if (c == '"') o += "&quot;";
        else o += c;
    }
    return o;
}

const char* const kColours[] = {"#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#8c564b", "#e377c2", "#17becf"};

std::string freqText(double f) {
    if (f >= 1000) return fmt("%gk", f / 1000);
    return fmt("%g", f);
}

}  // namespace

std::vector<double> plotFrequencies(double rate, unsigned points) {
    const double lo = 20.0;
    const double hi = std::min(20000.0, rate / 2 * 0.999);
    std::vector<double> f(points);
    for (unsigned i = 0; i < points; ++i) f[i] = lo * std::pow(hi / lo, double(i) / double(points - 1));
    return f;
}

std::string bandLabel(const EqBandSettings& band) {
    std::string s = eqTypeName(band.type) + " " + fmt("%g", band.frequency) + " Hz";
    switch (band.shape.kind) {
    case Aud::Filter::Biquad::ShapeDescriptor::kQ: s += " q=" + fmt("%g", band.shape.value); break;
    case Aud::Filter::Biquad::ShapeDescriptor::kBandwidthOctaves: s += " bw=" + fmt("%g", band.shape.value); break;
    case Aud::Filter::Biquad::ShapeDescriptor::kShelfSlope: s += " s=" + fmt("%g", band.shape.value); break;
    default: break;
    }
    if (band.gainDb != 0) s += " " + fmt("%+g", band.gainDb) + " dB";
    return s;
}

EqResponse eqResponse(const Equaliser& eq, double rate, const std::vector<double>& freqs, std::string label) {
    EqResponse r;
    r.label = std::move(label);
    const double nyquist = rate / 2;
    for (unsigned b = 0; b < eq.numBands(); ++b) {
        r.bandLabels.push_back(bandLabel(eq.settings(b)));
        std::vector<double> db;
        for (double f : freqs) db.push_back(toDb(eq.band(b).getResponseMagnitudeAtFrequency(float(f / nyquist))));
        r.bandDb.push_back(std::move(db));
    }
    for (double f : freqs) r.totalDb.push_back(toDb(eq.responseMagnitude(float(f / nyquist))));
    return r;
}

std::string eqSvg(const std::vector<EqResponse>& responses, const std::vector<double>& freqs,
                  const std::string& title) {
    double lo = -12, hi = 12;
    for (const EqResponse& r : responses) {
        for (double v : r.totalDb) lo = std::min(lo, v), hi = std::max(hi, v);
        for (const auto& b : r.bandDb)
            for (double v : b) lo = std::min(lo, v), hi = std::max(hi, v);
    }
    lo = std::max(-48.0, std::floor(lo / 6) * 6);
    hi = std::min(24.0, std::ceil(hi / 6) * 6);
    const double W = 900, H = 520, left = 60, right = 250, top = 40, bottom = 50;
    const double pw = W - left - right, ph = H - top - bottom;
    const double f0 = freqs.front(), f1 = freqs.back();
    auto X = [&](double f) { return left + pw * std::log(f / f0) / std::log(f1 / f0); };
    auto Y = [&](double db) { return top + ph * (hi - std::clamp(db, lo, hi)) / (hi - lo); };

    std::string s;
    s += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    s += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + fmt("%g", W) + "\" height=\"" + fmt("%g", H) +
         "\" viewBox=\"0 0 " + fmt("%g", W) + " " + fmt("%g", H) + "\" font-family=\"sans-serif\" font-size=\"11\">\n";
    s += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    s += "<text x=\"" + fmt("%g", left) + "\" y=\"24\" font-size=\"15\">" + escape(title) + "</text>\n";
    s += "<g stroke=\"#ddd\" stroke-width=\"1\">\n";
    for (double decade = 10; decade <= 100000; decade *= 10)
        for (double m : {1.0, 2.0, 5.0}) {
            const double f = decade * m;
            if (f < f0 || f > f1) continue;
            s += "<line x1=\"" + fmt("%.2f", X(f)) + "\" y1=\"" + fmt("%g", top) + "\" x2=\"" + fmt("%.2f", X(f)) +
                 "\" y2=\"" + fmt("%g", top + ph) + "\"/>\n";
        }
    for (double db = lo; db <= hi + 1e-9; db += 6)
        s += "<line x1=\"" + fmt("%g", left) + "\" y1=\"" + fmt("%.2f", Y(db)) + "\" x2=\"" + fmt("%g", left + pw) +
             "\" y2=\"" + fmt("%.2f", Y(db)) + "\"" + (db == 0 ? " stroke=\"#999\"" : "") + "/>\n";
    s += "</g>\n<g fill=\"#333\">\n";
    for (double decade = 10; decade <= 100000; decade *= 10)
        for (double m : {1.0, 2.0, 5.0}) {
            const double f = decade * m;
            if (f < f0 || f > f1) continue;
            s += "<text x=\"" + fmt("%.2f", X(f)) + "\" y=\"" + fmt("%g", top + ph + 16) +
                 "\" text-anchor=\"middle\">" + freqText(f) + "</text>\n";
        }
    for (double db = lo; db <= hi + 1e-9; db += 6)
        s += "<text x=\"" + fmt("%g", left - 6) + "\" y=\"" + fmt("%.2f", Y(db) + 4) + "\" text-anchor=\"end\">" +
             fmt("%+g", db) + "</text>\n";
    s += "<text x=\"" + fmt("%g", left + pw / 2) + "\" y=\"" + fmt("%g", H - 10) +
         "\" text-anchor=\"middle\">frequency (Hz)</text>\n";
    s += "<text x=\"16\" y=\"" + fmt("%g", top + ph / 2) + "\" transform=\"rotate(-90 16 " + fmt("%g", top + ph / 2) +
         ")\" text-anchor=\"middle\">magnitude (dB)</text>\n</g>\n";
    s += "<rect x=\"" + fmt("%g", left) + "\" y=\"" + fmt("%g", top) + "\" width=\"" + fmt("%g", pw) + "\" height=\"" +
         fmt("%g", ph) + "\" fill=\"none\" stroke=\"#333\"/>\n";

    auto path = [&](const std::vector<double>& db) {
        std::string d;
        for (std::size_t i = 0; i < freqs.size(); ++i)
            d += (i ? " L" : "M") + fmt("%.2f", X(freqs[i])) + "," + fmt("%.2f", Y(db[i]));
        return d;
    };
    double legendY = top + 10;
    for (std::size_t r = 0; r < responses.size(); ++r) {
        const char* colour = kColours[r % (sizeof kColours / sizeof kColours[0])];
        const EqResponse& resp = responses[r];
        s += "<g fill=\"none\" stroke=\"" + std::string(colour) + "\">\n";
        for (const auto& band : resp.bandDb)
            s += "<path d=\"" + path(band) + "\" stroke-width=\"1\" stroke-dasharray=\"4 3\" opacity=\"0.7\"/>\n";
        s += "<path d=\"" + path(resp.totalDb) + "\" stroke-width=\"2.5\"/>\n</g>\n";
        const double lx = left + pw + 15;
        s += "<line x1=\"" + fmt("%g", lx) + "\" y1=\"" + fmt("%g", legendY) + "\" x2=\"" + fmt("%g", lx + 20) +
             "\" y2=\"" + fmt("%g", legendY) + "\" stroke=\"" + colour + "\" stroke-width=\"2.5\"/>\n";
        s += "<text x=\"" + fmt("%g", lx + 26) + "\" y=\"" + fmt("%g", legendY + 4) + "\">" + escape(resp.label) +
             " (total)</text>\n";
        legendY += 16;
        for (const std::string& bl : resp.bandLabels) {
            s += "<line x1=\"" + fmt("%g", lx) + "\" y1=\"" + fmt("%g", legendY) + "\" x2=\"" + fmt("%g", lx + 20) +
                 "\" y2=\"" + fmt("%g", legendY) + "\" stroke=\"" + colour + "\" stroke-dasharray=\"4 3\"/>\n";
            s += "<text x=\"" + fmt("%g", lx + 26) + "\" y=\"" + fmt("%g", legendY + 4) + "\" font-size=\"10\">" +
                 escape(bl) + "</text>\n";
            legendY += 14;
        }
        legendY += 6;
    }
    s += "</svg>\n";
    return s;
}

std::string eqCsv(const EqResponse& response, const std::vector<double>& freqs) {
    std::string s = "frequency_hz";
    for (std::size_t b = 0; b < response.bandDb.size(); ++b) s += ",band" + std::to_string(b + 1) + "_db";
    s += ",total_db\n";
    for (std::size_t i = 0; i < freqs.size(); ++i) {
        s += fmt("%.4f", freqs[i]);
        for (const auto& band : response.bandDb) s += "," + fmt("%.6f", band[i]);
        s += "," + fmt("%.6f", response.totalDb[i]) + "\n";
    }
    return s;
}

}  // namespace audtool
