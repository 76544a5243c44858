// The numeric columns of the small CSV files the demos read (one header line, comma-separated).
#pragma once

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

inline std::vector<std::vector<double>> ReadColumns(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open " + path);
  std::string line;
  std::getline(in, line);
  std::vector<std::vector<double>> cols;
  while (std::getline(in, line)) {
    std::stringstream ss(line);
    std::size_t c = 0;
    for (std::string cell; std::getline(ss, cell, ','); ++c) {
      if (cols.size() <= c) cols.resize(c + 1);
      cols[c].push_back(std::stod(cell));
    }
  }
  return cols;
}
