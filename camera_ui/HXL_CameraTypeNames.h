#pragma once

#include <string>

// The host's camera-type numbering, by index. Every source file of the module
// includes this table (so each has its own copy); nothing in the module reads
// it, it is kept for the host's numbering.
static const std::string CameraTypeNames[6] = {"Auto", "Canon", "MindVision", "Microview", "Baler", "Galaxy"};
