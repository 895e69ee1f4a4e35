# Draws each ratio with its spread against its goal: gnuplot -e "data='bench.dat'; picture='bench.svg'" plot.gp
#
# A line of the data: name, median, least, greatest, whether at most or at least, goal.

rows = system("wc -l < '".data."'") + 0
set terminal svg size 1000, 130 + 19 * rows dynamic font "sans-serif,12" background "white"
set output picture
set title system("head -n 1 '".data."' | tr -d '#\"'") noenhanced
set logscale x 2
set xlabel "times as long as, or as much as, the bare one"
set xrange [0.125:]
set yrange [rows - 0.5:-0.5] # the first row on top
set ytics noenhanced scale 0
set grid x
set key at screen 0.98, screen 0.02 right bottom horizontal maxrows 1
set bmargin 7
set bars 0.6

reached(median, kind, goal) = kind eq "most" ? median <= goal : kind eq "least" ? median >= goal : 1

# The goals lie behind the figures.
plot data using (strcol(5) eq "most" ? $6 : NaN):0 with points pt 9 ps 1.1 lc rgb "#a0a0a0" title "goal: at most", \
     data using (strcol(5) eq "least" ? $6 : NaN):0 with points pt 11 ps 1.1 lc rgb "#a0a0a0" title "goal: at least", \
     data using (reached($2, strcol(5), $6) ? $2 : NaN):0:3:4:ytic(1) with xerrorbars \
       pt 7 ps 0.6 lc rgb "#1b7837" title "median, least, greatest", \
     data using (reached($2, strcol(5), $6) ? NaN : $2):0:3:4 with xerrorbars \
       pt 7 ps 0.6 lc rgb "#b2182b" title "the same, goal missed"
