// Measurements of the window for bench/window_bench.sh, switched on by environment variables; without
// them install() does nothing.
#pragma once

namespace velmora {

class AppModel;
class MainWindow;

namespace WindowBench {

// Lines on standard error, one measurement each, all times in milliseconds:
// VELMORA_BENCH_STARTUP=1    "bench shown-at-epoch-ms N" at the window's first show and
//                            "bench painted-at-epoch-ms N" at its first paint (the script subtracts the
//                            time it started the process);
// VELMORA_BENCH_HEARTBEAT=1  a 10 ms timer on the UI thread; when the first scan ends "bench scan-ms N",
//                            "bench heartbeat-max-gap-ms N" (largest time between two ticks) and the tick
//                            count;
// VELMORA_BENCH_TABS=1       after that scan, every tab is selected in turn and repainted, "bench
// tab-switch-ms
//                            <tab> N" each, five rounds;
// VELMORA_BENCH_SAMPLING=S   then the process's processor time over S seconds with "Leistung" shown (once
//                            its one look for indexed folders is over) and over S seconds with "Speicher"
//                            shown ("bench cpu-ms-shown N over-s S", "bench cpu-ms-hidden N over-s S");
// the window closes after the last measurement that was asked for ("bench done").
// Call before the window is shown.
void install(MainWindow& window, AppModel& model);

} // namespace WindowBench
} // namespace velmora
