#include "tools/showgen/Tune.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kBeat = 60.0 / kTuneBeatsPerMinute;  // seconds
constexpr double kBar = 4.0 * kBeat;
constexpr double kLength = double(kTuneFrames) / kTuneRate;  // seconds

double midiHz(double note) { return 440.0 * std::pow(2.0, (note - 69.0) / 12.0); }

// One stereo signal, kTuneFrames long.
struct Bus {
  std::vector<float> left = std::vector<float>(kTuneFrames, 0.0f);
  std::vector<float> right = std::vector<float>(kTuneFrames, 0.0f);
  void add(std::size_t frame, double l, double r) {
    if (frame >= kTuneFrames) return;
    left[frame] += float(l);
    right[frame] += float(r);
  }
};

// The correction that takes the step out of a naive saw or pulse (polyBLEP):
// t is the phase (0 ... 1), dt the phase step per sample.
double polyBlep(double t, double dt) {
  if (t < dt) {
    t /= dt;
    return t + t - t * t - 1.0;
  }
  if (t > 1.0 - dt) {
    t = (t - 1.0) / dt;
    return t * t + t + t + 1.0;
  }
  return 0.0;
}

struct Oscillator {
  double phase = 0.0;  // 0 ... 1
  double saw(double hz) {
    const double dt = hz / kTuneRate;
    const double v = 2.0 * phase - 1.0 - polyBlep(phase, dt);
    phase += dt;
    phase -= std::floor(phase);
    return v;
  }
  double square(double hz) {
    const double dt = hz / kTuneRate;
    double v = phase < 0.5 ? 1.0 : -1.0;
    v += polyBlep(phase, dt) - polyBlep(std::fmod(phase + 0.5, 1.0), dt);
    phase += dt;
    phase -= std::floor(phase);
    return v;
  }
  double sine(double hz) {
    const double v = std::sin(2.0 * kPi * phase);
    phase += hz / kTuneRate;
    phase -= std::floor(phase);
    return v;
  }
};

// State-variable filter in its trapezoidal (zero-delay) form: stable while
// the cutoff moves. tune() sets cutoff (Hz) and resonance (q: 0.5 none, and
// up); callers sweeping the cutoff retune every kRetune samples, a third of
// a millisecond, which is smooth to the ear and spares a tan() per sample.
constexpr std::size_t kRetune = 16;

struct Filter {
  double ic1 = 0.0, ic2 = 0.0;
  double a1 = 0.0, a2 = 0.0, a3 = 0.0, k = 2.0;
  double low = 0.0, band = 0.0, high = 0.0;
  void tune(double hz, double q) {
    const double g = std::tan(kPi * std::min(hz, 0.45 * kTuneRate) / kTuneRate);
    k = 1.0 / q;
    a1 = 1.0 / (1.0 + g * (g + k)), a2 = g * a1, a3 = g * a2;
  }
  void run(double x) {
    const double v3 = x - ic2;
    const double v1 = a1 * ic1 + a2 * v3;
    const double v2 = ic2 + a2 * ic1 + a3 * v3;
    ic1 = 2.0 * v1 - ic1;
    ic2 = 2.0 * v2 - ic2;
    low = v2, band = v1, high = x - k * v1 - v2;
  }
};

// A note's loudness at t seconds after its start: linear attack, exponential
// decay towards the sustain level, exponential release after `held` seconds.
// Times in seconds; the release time constant tau = release / 5 puts it
// 43 dB down at `release`.
double envelope(double t, double held, double attack, double decay, double sustain, double release) {
  auto level = [&](double u) {
    if (u < attack) return u / attack;
    return sustain + (1.0 - sustain) * std::exp(-(u - attack) / std::max(decay, 1e-4));
  };
  if (t < held) return level(t);
  return level(held) * std::exp(-(t - held) / (release / 5.0));
}

// Equal-power pan: -1 left ... 1 right.
std::pair<double, double> pan(double position) {
  const double angle = (position + 1.0) * kPi / 4.0;
  return {std::cos(angle), std::sin(angle)};
}

struct Random32 {
  std::uint32_t state;
  double next() {  // -1 ... 1
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return double(state) / 2147483648.0 - 1.0;
  }
};

// ---- score ----------------------------------------------------------------

// The chord of each bar as four pad notes (MIDI) and the bass root.
struct Chord {
  std::array<int, 4> pad;
  int bass;
};
constexpr Chord kAm = {{57, 60, 64, 67}, 33}, kF = {{53, 57, 60, 64}, 29}, kC = {{55, 60, 64, 67}, 36},
                kG = {{55, 59, 62, 67}, 31};
constexpr std::array<Chord, kTuneBars> kChords = {kAm, kF, kC, kG, kAm, kF, kC, kG, kAm, kF, kC,
                                                  kG,  kAm, kF, kC, kG, kAm, kF, kC, kG, kAm, kF,
                                                  kC,  kG,  kAm, kF, kC, kG, kAm, kF, kG, kAm};

// The arrangement, bar by bar (bars from 0).
constexpr int kBassBar = 4;                  // bass and drums enter
constexpr int kFullBar = 8;                  // claps and sixteenth hats
constexpr int kBreakBar = 16, kBreakEnd = 18;  // no drums in [kBreakBar, kBreakEnd)
bool drumsIn(int bar) { return bar >= kBassBar && !(bar >= kBreakBar && bar < kBreakEnd); }
bool fullDrums(int bar) { return bar >= kFullBar && drumsIn(bar) && bar != kBreakEnd; }
// Rising claps on the last beat lead into the bar after.
bool fillBar(int bar) { return bar % 4 == 3 && bar >= kBassBar + 3 && bar != kBreakBar - 1; }
bool cymbalBar(int bar) { return bar >= kFullBar && bar % 4 == 0 && bar != kBreakEnd; }

struct Note {
  double start, length;  // beats from the top
  int pitch;             // MIDI
};
// The lead melody: a rising phrase over bars 21-24, repeated over bars
// 25-28, and the falling close over the last four bars.
constexpr Note kPhrase[] = {
    {0.0, 1.0, 72},  {1.0, 1.0, 76},  {2.0, 1.5, 81},  {3.5, 0.5, 79},  // Am
    {4.0, 1.5, 77},  {5.5, 0.5, 76},  {6.0, 2.0, 72},                    // F
    {8.0, 1.0, 76},  {9.0, 1.0, 79},  {10.0, 1.5, 84}, {11.5, 0.5, 83},  // C
    {12.0, 2.0, 79}, {14.0, 1.0, 74}, {15.0, 1.0, 71},                   // G
};
constexpr Note kClose[] = {
    {0.0, 1.5, 76}, {1.5, 0.5, 74}, {2.0, 1.0, 72}, {3.0, 1.0, 69},  // Am
    {4.0, 1.5, 72}, {5.5, 0.5, 74}, {6.0, 2.0, 76},                   // F
    {8.0, 1.0, 74}, {9.0, 1.0, 71}, {10.0, 1.0, 67}, {11.0, 1.0, 71},  // G
    {12.0, 3.0, 69},                                                  // Am, held out
};

std::vector<Note> melody() {
  std::vector<Note> notes;
  for (double startBeat : {80.0, 96.0})
    for (const Note& n : kPhrase) notes.push_back({startBeat + n.start, n.length, n.pitch});
  for (const Note& n : kClose) notes.push_back({112.0 + n.start, n.length, n.pitch});
  return notes;
}

std::size_t frameAt(double seconds) { return std::size_t(std::max(0.0, seconds) * kTuneRate); }

// ---- instruments ----------------------------------------------------------

// Three detuned saws per note, the spread differing between the sides;
// low-passed with a slow sweep.
void playPad(Bus& bus) {
  constexpr double kDetune[2][3] = {{-11.0, 0.0, 4.0}, {-4.0, 0.0, 11.0}};  // cents, left and right
  for (int bar = 0; bar < kTuneBars; ++bar) {
    const bool last = bar == kTuneBars - 1;
    const double start = bar * kBar, held = last ? 0.9 * kBar : kBar;
    const double release = last ? 2.6 : 0.7;
    for (int pitch : kChords[std::size_t(bar)].pad) {
      Oscillator osc[2][3];
      Filter filter[2];
      for (int side = 0; side < 2; ++side)
        for (int v = 0; v < 3; ++v) osc[side][v].phase = 0.13 * (side * 3 + v) + 0.01 * pitch;
      double hz[2][3];
      for (int side = 0; side < 2; ++side)
        for (int v = 0; v < 3; ++v) hz[side][v] = midiHz(pitch + kDetune[side][v] / 100.0);
      const std::size_t first = frameAt(start), end = std::min(kTuneFrames, frameAt(start + held + release));
      for (std::size_t f = first; f < end; ++f) {
        const double t = double(f) / kTuneRate;
        const double amp = 0.055 * envelope(t - start, held, 0.35, 1.0, 1.0, release);
        if ((f - first) % kRetune == 0) {
          const double cutoff = 900.0 + 700.0 * std::min(1.0, t / (4 * kBar)) + 350.0 * std::sin(2 * kPi * 0.15 * t);
          filter[0].tune(cutoff, 0.7);
          filter[1].tune(cutoff, 0.7);
        }
        double out[2];
        for (int side = 0; side < 2; ++side) {
          double sum = 0.0;
          for (int v = 0; v < 3; ++v) sum += osc[side][v].saw(hz[side][v]);
          filter[side].run(sum);
          out[side] = filter[side].low * amp;
        }
        bus.add(f, out[0], out[1]);
      }
    }
  }
}

// Octave-jumping eighths from bar 5; one long root on the last bar.
void playBass(Bus& bus) {
  for (int bar = kBassBar; bar < kTuneBars; ++bar) {
    const bool last = bar == kTuneBars - 1;
    for (int step = 0; step < (last ? 1 : 8); ++step) {
      const int pitch = kChords[std::size_t(bar)].bass + (step % 2 ? 12 : 0);
      const double start = bar * kBar + step * kBeat / 2.0;
      const double held = last ? 1.5 : 0.36 * kBeat, release = last ? 1.0 : 0.05;
      Oscillator saw, sub;
      Filter filter;
      const double hz = midiHz(pitch);
      const std::size_t first = frameAt(start), end = std::min(kTuneFrames, frameAt(start + held + release));
      for (std::size_t f = first; f < end; ++f) {
        const double t = double(f) / kTuneRate - start;
        const double amp = 0.30 * envelope(t, held, 0.003, 0.25, 0.6, release);
        if ((f - first) % kRetune == 0) filter.tune(180.0 + 1500.0 * std::exp(-t / 0.09), 1.1);
        filter.run(0.7 * saw.saw(hz) + 0.5 * sub.square(hz / 2.0));
        bus.add(f, filter.low * amp, filter.low * amp);
      }
    }
  }
}

// Sixteenths through the chord and an octave above; the filter opens over
// the first eight bars, closes for the break and opens again over the four
// bars from there. Notes alternate a little left and right.
void playArpeggio(Bus& bus) {
  constexpr int kOrder[8] = {0, 1, 2, 3, 4, 3, 2, 1};  // 4: the root an octave up
  const int steps = (kTuneBars - 1) * 16 + 8;          // stops halfway through the last bar
  for (int step = 0; step < steps; ++step) {
    const int bar = step / 16;
    const Chord& chord = kChords[std::size_t(bar)];
    const int index = kOrder[step % 8];
    const int pitch = 12 + (index == 4 ? chord.pad[0] + 12 : chord.pad[std::size_t(index)]);
    const double start = step * kBeat / 4.0;
    const double opening = bar >= kBreakBar && bar < kBreakBar + 4
                               ? 0.35 + 0.65 * (start - kBreakBar * kBar) / (4 * kBar)
                               : std::min(1.0, start / (8 * kBar));
    const double loud = (bar < 4 ? 0.8 : 1.0) * (step % 4 == 0 ? 1.0 : 0.75);
    const auto [l, r] = pan(step % 2 ? 0.35 : -0.35);
    Oscillator osc;
    Filter filter;
    const double hz = midiHz(pitch);
    const std::size_t first = frameAt(start), end = std::min(kTuneFrames, frameAt(start + 0.4));
    for (std::size_t f = first; f < end; ++f) {
      const double t = double(f) / kTuneRate - start;
      const double amp = 0.075 * loud * envelope(t, 0.1, 0.002, 0.09, 0.0, 0.2);
      if ((f - first) % kRetune == 0) filter.tune(700.0 + 4300.0 * opening * opening + 2000.0 * std::exp(-t / 0.03), 0.9);
      filter.run(osc.square(hz));
      bus.add(f, filter.low * amp * l, filter.low * amp * r);
    }
  }
}

// Two saws a little apart, with vibrato that fades in on held notes.
void playLead(Bus& bus) {
  for (const Note& note : melody()) {
    const double start = note.start * kBeat, held = note.length * kBeat - 0.03;
    Oscillator a, b;
    Filter filter;
    const std::size_t first = frameAt(start), end = std::min(kTuneFrames, frameAt(start + held + 0.5));
    for (std::size_t f = first; f < end; ++f) {
      const double t = double(f) / kTuneRate - start;
      const double depth = std::clamp((t - 0.2) / 0.4, 0.0, 1.0);
      const double vibrato = 0.25 * depth * std::sin(2 * kPi * 5.5 * t);  // semitones
      const double hz = midiHz(note.pitch + vibrato);
      const double amp = 0.085 * envelope(t, held, 0.02, 0.4, 0.75, 0.35);
      if ((f - first) % kRetune == 0) filter.tune(2600.0 + 1200.0 * std::exp(-t / 0.15), 0.8);
      filter.run(a.saw(hz) + 0.7 * b.saw(hz * 1.004));
      bus.add(f, filter.low * amp, filter.low * amp);
    }
  }
}

// ---- drums ----------------------------------------------------------------

// A sine whose pitch falls from about 160 Hz to 45 Hz, with a click.
void kick(Bus& bus, double start, double gain) {
  Oscillator osc;
  const std::size_t first = frameAt(start), end = std::min(kTuneFrames, frameAt(start + 0.45));
  for (std::size_t f = first; f < end; ++f) {
    const double t = double(f) / kTuneRate - start;
    const double v = osc.sine(45.0 + 115.0 * std::exp(-t / 0.035)) * std::exp(-t / 0.16) +
                     0.3 * std::exp(-t / 0.003);
    bus.add(f, v * gain, v * gain);
  }
}

// High-passed noise; decay in seconds (short closed, long open).
void hat(Bus& bus, Random32& noise, double start, double gain, double decay, double position) {
  Filter filter;
  filter.tune(7500.0, 0.7);
  const auto [l, r] = pan(position);
  const std::size_t first = frameAt(start), end = std::min(kTuneFrames, frameAt(start + decay * 6.0));
  for (std::size_t f = first; f < end; ++f) {
    const double t = double(f) / kTuneRate - start;
    filter.run(noise.next());
    const double v = filter.high * std::exp(-t / decay) * gain;
    bus.add(f, v * l, v * r);
  }
}

// Band-passed noise in three quick bursts (a clap) over a short tone.
void clap(Bus& bus, Random32& noise, double start, double gain) {
  Filter filter;
  filter.tune(1500.0, 1.2);
  Oscillator tone;
  const std::size_t first = frameAt(start), end = std::min(kTuneFrames, frameAt(start + 0.35));
  for (std::size_t f = first; f < end; ++f) {
    const double t = double(f) / kTuneRate - start;
    const double bursts = t < 0.02 ? std::exp(-std::fmod(t, 0.007) / 0.002) : std::exp(-(t - 0.02) / 0.07);
    filter.run(noise.next());
    const double v = (filter.band * 1.6 * bursts + 0.25 * tone.sine(190.0) * std::exp(-t / 0.04)) * gain;
    bus.add(f, v * 0.92, v);
  }
}

// A long wash of high noise on the down beats of new sections.
void cymbal(Bus& bus, Random32& noise, double start, double gain) {
  Filter filter[2];
  filter[0].tune(5500.0, 0.6);
  filter[1].tune(5500.0, 0.6);
  const std::size_t first = frameAt(start), end = std::min(kTuneFrames, frameAt(start + 2.5));
  for (std::size_t f = first; f < end; ++f) {
    const double t = double(f) / kTuneRate - start;
    const double env = std::exp(-t / 0.55) * gain;
    filter[0].run(noise.next());
    filter[1].run(noise.next());
    bus.add(f, filter[0].high * env, filter[1].high * env);
  }
}

// Returns the kick times (seconds) for the side-chain.
std::vector<double> playDrums(Bus& bus) {
  Random32 noise{0x1234567u};
  std::vector<double> kicks;
  for (int bar = kBassBar; bar < kTuneBars; ++bar) {
    const double top = bar * kBar;
    if (bar == kTuneBars - 1) {
      kick(bus, top, 0.75);
      kicks.push_back(top);
      cymbal(bus, noise, top, 0.22);
      break;
    }
    if (bar == kBreakBar) {  // one hit into the break, then two bars without drums
      kick(bus, top, 0.75);
      kicks.push_back(top);
      cymbal(bus, noise, top, 0.24);
      continue;
    }
    if (!drumsIn(bar)) continue;
    const bool full = fullDrums(bar);
    const bool fill = fillBar(bar);
    if (cymbalBar(bar)) cymbal(bus, noise, top, 0.2);
    for (int beat = 0; beat < 4; ++beat) {
      kick(bus, top + beat * kBeat, 0.7);
      kicks.push_back(top + beat * kBeat);
      hat(bus, noise, top + (beat + 0.5) * kBeat, 0.16, full && beat == 3 ? 0.09 : 0.03, 0.25);
      if (full) {
        hat(bus, noise, top + (beat + 0.25) * kBeat, 0.06, 0.02, -0.3);
        hat(bus, noise, top + (beat + 0.75) * kBeat, 0.06, 0.02, -0.3);
      }
      if (full && beat % 2 == 1 && !(fill && beat == 3)) clap(bus, noise, top + beat * kBeat, 0.32);
    }
    if (fill)  // four rising claps on the last beat lead into the next section
      for (int i = 0; i < 4; ++i) clap(bus, noise, top + (3.0 + i * 0.25) * kBeat, 0.12 + 0.06 * i);
  }
  return kicks;
}

// ---- effects --------------------------------------------------------------

// The music ducks under each kick (the "pumping" of dance music).
void duck(Bus& bus, const std::vector<double>& kicks, double depth) {
  std::size_t next = 0;
  double last = -1e9;
  for (std::size_t f = 0; f < kTuneFrames; ++f) {
    const double t = double(f) / kTuneRate;
    while (next < kicks.size() && kicks[next] <= t) last = kicks[next++];
    const double gain = 1.0 - depth * std::exp(-(t - last) / 0.11);
    bus.left[f] *= float(gain);
    bus.right[f] *= float(gain);
  }
}

// Echo bouncing between the sides, a dotted eighth apart, darker each time.
void pingPong(const Bus& send, Bus& out, double feedback) {
  const std::size_t delay = frameAt(0.75 * kBeat);
  std::vector<double> lineL(delay, 0.0), lineR(delay, 0.0);
  double dampL = 0.0, dampR = 0.0;
  for (std::size_t f = 0, i = 0; f < kTuneFrames; ++f, i = (i + 1) % delay) {
    const double echoL = lineL[i], echoR = lineR[i];
    dampL += 0.35 * (echoL - dampL);
    dampR += 0.35 * (echoR - dampR);
    lineL[i] = 0.5 * (send.left[f] + send.right[f]) + feedback * dampR;
    lineR[i] = feedback * dampL;
    out.add(f, echoL, echoR);
  }
}

// A small feedback-delay-network reverb: four delay lines mixed by a
// Householder matrix, damped. About 1.8 s to fall 60 dB.
void reverb(const Bus& send, Bus& out) {
  constexpr std::array<std::size_t, 4> kLengths = {1499, 1789, 2131, 2467};  // samples, mutually prime
  constexpr double kFeedback = 0.86, kDamping = 0.3;
  std::array<std::vector<double>, 4> lines;
  for (std::size_t i = 0; i < 4; ++i) lines[i].assign(kLengths[i], 0.0);
  std::array<std::size_t, 4> cursor{};
  std::array<double, 4> damp{};
  for (std::size_t f = 0; f < kTuneFrames; ++f) {
    std::array<double, 4> y;
    for (std::size_t i = 0; i < 4; ++i) {
      damp[i] += (1.0 - kDamping) * (lines[i][cursor[i]] - damp[i]);
      y[i] = damp[i];
    }
    const double half = 0.5 * (y[0] + y[1] + y[2] + y[3]);
    const double in[4] = {send.left[f], send.right[f], send.left[f], send.right[f]};
    for (std::size_t i = 0; i < 4; ++i) {
      lines[i][cursor[i]] = in[i] + kFeedback * (y[i] - half);
      cursor[i] = (cursor[i] + 1) % kLengths[i];
    }
    out.add(f, 0.5 * (y[0] + y[2]), 0.5 * (y[1] + y[3]));
  }
}

void mixInto(Bus& out, const Bus& in, double gain) {
  for (std::size_t f = 0; f < kTuneFrames; ++f) {
    out.left[f] += float(in.left[f] * gain);
    out.right[f] += float(in.right[f] * gain);
  }
}

}  // namespace

StereoTrack synthesiseTune() {
  Bus pad, bass, arpeggio, lead, drums;
  playPad(pad);
  playBass(bass);
  playArpeggio(arpeggio);
  playLead(lead);
  const std::vector<double> kicks = playDrums(drums);
  duck(pad, kicks, 0.45);
  duck(bass, kicks, 0.35);
  duck(arpeggio, kicks, 0.3);

  Bus echoSend, echo, roomSend, room;
  mixInto(echoSend, arpeggio, 0.6);
  mixInto(echoSend, lead, 0.5);
  pingPong(echoSend, echo, 0.45);
  mixInto(roomSend, pad, 0.4);
  mixInto(roomSend, arpeggio, 0.3);
  mixInto(roomSend, lead, 0.4);
  mixInto(roomSend, echo, 0.3);
  mixInto(roomSend, drums, 0.08);
  reverb(roomSend, room);

  Bus master;
  mixInto(master, pad, 1.0);
  mixInto(master, bass, 1.0);
  mixInto(master, arpeggio, 1.0);
  mixInto(master, lead, 1.0);
  mixInto(master, drums, 1.0);
  mixInto(master, echo, 0.45);
  mixInto(master, room, 0.35);

  // A 20 Hz high-pass (the kick's click is one-sided), soft saturation, a
  // short fade so the last sample is silent, then the peak set to 0.89
  // (-1 dBFS) to leave the encoder headroom.
  StereoTrack track;
  track.samples.resize(kTuneFrames * 2);
  double peak = 1e-9;
  const double fadeStart = kLength - 0.6;
  const double pole = 1.0 - 2.0 * kPi * 20.0 / kTuneRate;
  double inL = 0.0, inR = 0.0, outL = 0.0, outR = 0.0;
  for (std::size_t f = 0; f < kTuneFrames; ++f) {
    const double t = double(f) / kTuneRate;
    outL = master.left[f] - inL + pole * outL, inL = master.left[f];
    outR = master.right[f] - inR + pole * outR, inR = master.right[f];
    const double fade = t < fadeStart ? 1.0 : 0.5 + 0.5 * std::cos(kPi * (t - fadeStart) / (kLength - fadeStart));
    const double l = std::tanh(outL * 1.2) * fade, r = std::tanh(outR * 1.2) * fade;
    track.samples[2 * f] = float(l);
    track.samples[2 * f + 1] = float(r);
    peak = std::max({peak, std::fabs(l), std::fabs(r)});
  }
  const float gain = float(0.89 / peak);
  for (float& s : track.samples) s *= gain;
  return track;
}
