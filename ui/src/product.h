// What the program calls itself.
#pragma once

constexpr const char* kProduct = "Parlovex";
constexpr const char* kVersion = "V50";
constexpr unsigned kBuild = 20240502; // a date, so that newer builds have higher numbers
