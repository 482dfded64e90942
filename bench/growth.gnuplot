# The growth of the group report as a picture.
# usage: gnuplot -c growth.gnuplot DATA SVG
set terminal svg size 640,420 font "sans-serif,13" background rgb "white"
set output ARG2
set logscale xy 10
set xlabel "scheduler groups in the snapshot"
set ylabel "wall time"
set format x "%.0s%c"
set ytics ("1 ms" 1, "10 ms" 10, "100 ms" 100, "1 s" 1000)
set xrange [8:130000]
set yrange [0.5:2000]
set grid xtics ytics linecolor rgb "#dddddd"
set key left top reverse Left samplen 2
set style data linespoints
set linetype 1 linecolor rgb "#a23b3b" linewidth 1.5 pointtype 6 pointsize 0.5
set linetype 2 linecolor rgb "#d08a2e" linewidth 1.5 pointtype 4 pointsize 0.5
set linetype 3 linecolor rgb "#1f5fa8" linewidth 2.5 pointtype 7 pointsize 0.5
set linetype 4 linecolor rgb "#2a8a57" linewidth 2.5 pointtype 5 pointsize 0.5
set linetype 5 linecolor rgb "#777777" linewidth 1.5 pointtype 9 pointsize 0.5
plot ARG1 using 1:6 title "sqlite3, printf" linetype 2, \
     "" using 1:5 title "sqlite3 -csv" linetype 1, \
     "" using 1:3 title "hostmem -r group-stats" linetype 4, \
     "" using 1:2 title "hostmem -r group-stats -q" linetype 3, \
     "" using 1:4 title "formatting alone, CSV" linetype 5
