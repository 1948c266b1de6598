#include "Table.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <utility>

namespace videoDeviceTool {

Table::Table(std::vector<std::string> header) : _header(std::move(header)) {}

void Table::addRow(std::vector<std::string> row) {
  row.resize(_header.size());
  _rows.push_back(std::move(row));
}

void Table::print(std::ostream& out) const {
  std::vector<std::size_t> widths(_header.size());
  for (std::size_t c = 0; c < _header.size(); ++c) {
    widths[c] = _header[c].size();
    for (const auto& row : _rows) widths[c] = std::max(widths[c], row[c].size());
  }
  const auto printRow = [&](const std::vector<std::string>& row) {
    std::string line;
    for (std::size_t c = 0; c < row.size(); ++c) {
      line += row[c];
      if (c + 1 < row.size()) line += std::string(widths[c] - row[c].size() + 2, ' ');
    }
    out << line << '\n';
  };
  printRow(_header);
  std::vector<std::string> rule;
  for (std::size_t width : widths) rule.emplace_back(width, '-');
  printRow(rule);
  for (const auto& row : _rows) printRow(row);
}

std::string formatFixed(double value, int decimals) {
  std::ostringstream out;
  out << std::fixed << std::setprecision(decimals) << value;
  return out.str();
}

}  // namespace videoDeviceTool
