// A picture of a variable's distribution, as the bytes of a PNG: grey bars on white, without axes.
#ifndef HISTOGRAM_H
#define HISTOGRAM_H

#include <string>

#include "dataset.h"

// Of a numeric variable; its missing values do not count.
std::string HistogramPng(Dataset& dataset, const Variable& variable);

#endif
