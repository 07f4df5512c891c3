# Draws what `ctlbench measure` has written to the directory that is given as `directory`.
set terminal svg size 960,760 font "sans,12" background "white"
set output directory . "/performance.svg"
set datafile separator "\t"
set style data lines
set grid lc rgb "#dddddd"
set key top left reverse Left samplen 2
set multiplot layout 2,2

latency = directory . "/latency.tsv"
rates = directory . "/rates.tsv"
array bridges[2] = ["ctlbridge", "busy relay"]
array colours[2] = ["#c0392b", "#2c3e50"]
array ways[2] = ["board → host", "host → board"]

set logscale y
set xlabel "per cent of the messages"
set ylabel "microseconds at most"
set xrange [1:99]
set yrange [10:20000]
do for [w = 1:2] {
    set title ways[w] . ", line rate both ways"
    plot for [b = 1:2] latency \
        using (strcol(1) eq "line rate" && strcol(2) eq ways[w] && strcol(3) eq bridges[b] ? \
               $4 : NaN):5 title bridges[b] lw 2 lc rgb colours[b]
}

set title "ctlbridge: latency at a steady rate"
set xlabel "messages a second"
set ylabel "microseconds"
set logscale x
set xrange [400:500000]
plot for [w = 1:2] rates using (strcol(1) eq ways[w] ? $2 : NaN):3 title ways[w] . ", median" \
         with linespoints pt 7 ps 0.4 lw 2 lc rgb colours[w], \
     for [w = 1:2] rates using (strcol(1) eq ways[w] ? $2 : NaN):4 title ways[w] . ", 99 %" \
         with linespoints pt 6 ps 0.4 lw 1 dt 2 lc rgb colours[w]

unset logscale y
set title "ctlbridge: processor time of the two workers"
set ylabel "per cent of a core"
set yrange [0:110]
set key center right
plot for [w = 1:2] rates using (strcol(1) eq ways[w] ? $2 : NaN):5 \
         title ways[w] . ", board worker" with linespoints pt 7 ps 0.4 lw 2 lc rgb colours[w], \
     for [w = 1:2] rates using (strcol(1) eq ways[w] ? $2 : NaN):6 \
         title ways[w] . ", host worker" with linespoints pt 6 ps 0.4 lw 1 dt 2 lc rgb colours[w]
unset multiplot
