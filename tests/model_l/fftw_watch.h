#pragma once
/// Stands between the program and FFTW: counts what is held and lets calls fail.

/// Blocks and plans that have not been given back.
int fftwWatch_held();
/// The call after so many more, of fftw_malloc or of the planner, fails; -1: none. Takes the place of the last one.
void fftwWatch_failAfter(int calls);
/// The failure has happened.
bool fftwWatch_hasFailed();
