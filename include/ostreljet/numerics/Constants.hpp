#pragma once

// Physical and conversion constants of the model, each written once, at the precision the model's
// results are defined with.
namespace ostreljet::constants {

inline constexpr double gasConstant = 8.31434;                   // J/(mol K), universal gas constant
inline constexpr double gravity = 9.80665;                       // m/s2, standard gravity
inline constexpr double pi = 3.14159265358979;                   // -
inline constexpr double degreesToRadians = 0.017453292519943278; // rad per degree
inline constexpr double vonKarman = 0.35;                        // -, von Karman constant

} // namespace ostreljet::constants
