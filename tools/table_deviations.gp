# docs/table_deviations.svg from the curves of orvel_table_check (Si.txt and Au.txt in this folder)
set terminal svg size 900,640 font "sans,12"
set output out
set multiplot layout 2,2
set xlabel "s (1/A)"
set logscale x; set xrange [0.02:6]
do for [e in "Si Au"] {
  set title e.": f'(s,B) exp(-B s^2) / f'(0,B)"; set ylabel ""
  plot e.".txt" u 1:4 w l t "B = 0.05", "" u 1:6 w l t "0.3", "" u 1:8 w l t "1", "" u 1:10 w l t "4"
}
do for [e in "Si Au"] {
  set title e.": deviation of orvel, % of f'(0,B); f: % of f"
  plot e.".txt" u 1:5 w l t "B = 0.05", "" u 1:7 w l t "0.3", "" u 1:9 w l t "1", "" u 1:11 w l t "4", "" u 1:3 w l lc "black" t "f"
}
