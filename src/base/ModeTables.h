#pragma once
// Look-ups shared by the mode tables (input formats, output methods, glasses types): each table is
// a constant array of rows that carry an enum-class value with the program's number and a
// command-line name.

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace qv {

// The value of the row whose name is `text` or whose number is written as `text` ("parallel",
// "5"); nullopt when no row matches. `key` is the row's enum member.
template <typename Row, typename Enum>
std::optional<Enum> ModeByNameOrNumber(std::span<const Row> table, Enum Row::*key,
                                       std::string_view text) {
  for (const Row& row : table) {
    if (row.name == text || std::to_string(static_cast<int>(row.*key)) == text) return row.*key;
  }
  return std::nullopt;
}

// The row of a value, or nullptr for a value outside the table.
template <typename Row, typename Enum>
const Row* ModeRow(std::span<const Row> table, Enum Row::*key, Enum value) {
  for (const Row& row : table) {
    if (row.*key == value) return &row;
  }
  return nullptr;
}

}  // namespace qv
