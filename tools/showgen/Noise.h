#pragma once
// Deterministic randomness for the generator: integer hashes, a seeded
// generator and value noise. Everything is plain integer and float
// arithmetic with fixed seeds, so the same build makes the same bytes on
// every run.
#include <cstdint>

std::uint32_t hash3(std::uint32_t x, std::uint32_t y, std::uint32_t z);

// splitmix64: small, fast and good enough for placing stars.
class Random {
 public:
  explicit Random(std::uint64_t seed) : m_state(seed) {}
  std::uint64_t next();
  float uniform();                       // 0 ... 1 (1 excluded)
  float uniform(float low, float high);  // low ... high

 private:
  std::uint64_t m_state;
};

// Value noise on an integer lattice with smooth (quintic) interpolation;
// about -1 ... 1, one feature per lattice unit. seed picks the pattern.
float valueNoise(float x, float y, std::uint32_t seed);
// Fractal sum of `octaves` value noises, each twice the frequency and
// `gain` times the amplitude of the one before; normalised to about -1 ... 1.
float fbm(float x, float y, int octaves, float gain, std::uint32_t seed);
