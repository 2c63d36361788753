# Draws the figures of benchmarks/compare as four plots over the number of VLANs.
# Usage: gnuplot -e "data='FILE'; drawing='FILE.svg'" plot.gnuplot
set terminal svg size 960,720 dynamic background "white" font "sans-serif,13"
set output drawing
set multiplot layout 2,2
set logscale xy
set xlabel "VLANs"
set xrange [8:5000]
set xtics (10, 100, "1,000" 1000, "4,000" 4000)
set grid xtics ytics linecolor "#dddddd" linetype 1
set key top left Left reverse samplen 2 font ",11"
set format y "%g"
set style data linespoints
set linetype 1 linecolor "#0b5fa5" linewidth 2 pointtype 7 pointsize 0.6
set linetype 2 linecolor "#c8501e" linewidth 2 pointtype 5 pointsize 0.6
set linetype 3 linecolor "#3b8132" linewidth 2 pointtype 9 pointsize 0.7
set linetype 4 linecolor "#777777" linewidth 2 pointtype 13 pointsize 0.6 dashtype 2

set title "own time, ms"
set yrange [1:4000]
plot for [i=0:2] data index i using 1:2 title columnheader(1)
set title "whole run, ms"
plot for [i=0:3] data index i using 1:3 title columnheader(1)
set title "peak memory, MB"
set yrange [3:60]
set ytics (5, 10, 20, 40)
plot for [i=0:2] data index i using 1:4 title columnheader(1)
set title "instructions, millions"
set yrange [1:20000]
set ytics autofreq
plot for [i=0:2] data index i using 1:5 title columnheader(1)
