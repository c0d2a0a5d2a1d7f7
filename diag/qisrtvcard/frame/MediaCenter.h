#pragma once
// Windows Media Center holds the tuner while it runs; every test checks for it first.

namespace qisrtvcard {

bool isMediaCenterRunning();

} // namespace qisrtvcard
