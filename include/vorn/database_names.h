#pragma once

/// Names of the platform's databases.
///
/// Callers pass these names to GuardDB or vorn::bindStore(), or qualify a table by them. The library never
/// interprets them.
namespace vorn {

inline constexpr char kTaskDB[] = "TaskDB";
inline constexpr char kDevInfoDB[] = "DevInfoDB";
inline constexpr char kLogInfoDB[] = "LogInfoDB";
inline constexpr char kAutoUpgradeDB[] = "AutoUpgradeDB";
inline constexpr char kSAMDB[] = "SAMDB";
/// Device details live in the device information store: a second name for the same value.
inline constexpr char kDevDetailDB[] = "DevInfoDB";
inline constexpr char kSettingInfoDB[] = "SettingInfoDB";

}  // namespace vorn
