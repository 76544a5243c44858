// Demo: principal components of the US arrests data and a ridge fit of Longley's data.
#pragma once

#include <string>

/// Prints a correlation PCA of dir/usarrests.csv and a ridge fit of dir/longley.csv.
void DemoComponents(const std::string& dir);
