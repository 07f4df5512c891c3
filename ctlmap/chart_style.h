// How the page looks: on screens of any width, light and dark, and on paper.
#pragma once

namespace ctlmap {

constexpr const char* STYLE = R"css(
:root{color-scheme:light dark;--bg:#fff;--fg:#1b1f24;--soft:#57606a;--line:#c9ced6;--plate:#f1f3f6;
--key:#fff;--cap:#d5dae1;--led:#c77700;--error:#b3261e;--warning:#8a5300;--note:#1f5fa8;--on:#fff}
@media screen and (prefers-color-scheme:dark){:root{--bg:#14171b;--fg:#e6e9ed;--soft:#a3acb8;
--line:#3b434d;--plate:#1d2228;--key:#2a3038;--cap:#4a535f;--led:#f0a93a;--error:#ff9d94;
--warning:#f2c063;--note:#8fc1ff;--on:#14171b}}

*{box-sizing:border-box}
body{margin:0 auto;padding:1.2rem;max-width:96rem;background:var(--bg);color:var(--fg);
font:15px/1.45 system-ui,"Segoe UI","DejaVu Sans",Arial,sans-serif;overflow-wrap:anywhere}
h1{font-size:1.7rem;line-height:1.2;margin:0}
h2{font-size:1.25rem;margin:2.4rem 0 .6rem}
p{margin:.3rem 0 .8rem}
a{color:inherit}
.soft,small,caption,figcaption{color:var(--soft);font-weight:400}
.error{color:var(--error)}.warning{color:var(--warning)}.note{color:var(--note)}
code,svg{font-family:ui-monospace,"DejaVu Sans Mono",Menlo,Consolas,monospace}
svg{display:block;width:100%;height:auto}

.front{display:grid;grid-template-columns:repeat(3,1fr);gap:.7rem;margin-top:1rem}
.panel text{font-size:9px;text-anchor:middle;fill:var(--fg)}
.panel .v{font-size:9.5px;font-weight:700}
.panel .h{font-size:13px;font-weight:700;letter-spacing:.15em}
.plate{fill:var(--plate);stroke:var(--line)}
.key,.cap,.knob,.disc{fill:var(--key);stroke:var(--line)}
.cap,.knob{stroke:var(--soft)}.cap{fill:var(--cap)}
.notched{stroke-dasharray:3 2;stroke-width:3}
.groove,.line{fill:none;stroke:var(--line)}.line{stroke:var(--soft);stroke-width:1.5}
.ring{fill:none;stroke:var(--led);stroke-width:3}
.slot{fill:var(--soft)}.led{fill:var(--led)}.level{fill:none;stroke:var(--led)}
.lost rect,.lost circle{stroke-dasharray:3 3}.panel .lost text{fill:var(--soft)}
.panel .m{fill:var(--on);font-weight:700}
rect.error{fill:var(--error)}rect.warning{fill:var(--warning)}rect.note{fill:var(--note)}

.screens{display:flex;flex-wrap:wrap;gap:1rem}
figure{margin:0;flex:1 1 18rem}
symbol text{font-size:13.3px;text-anchor:start;white-space:pre}
.chip{display:inline-block;width:20px;height:14px;vertical-align:-2px}

table{border-collapse:collapse;width:100%;font-size:.87rem;margin:.6rem 0}
caption{text-align:left}
th,td{text-align:left;vertical-align:top;padding:.25rem .5rem;border-bottom:1px solid var(--line)}
thead th{border-bottom:2px solid var(--soft);overflow-wrap:normal}
th[scope=rowgroup]{padding-top:1rem;font-size:1rem}
table{max-width:76rem}.controls th[scope=row]{min-width:9.5rem}.controls code{white-space:nowrap}
.midi th,.midi td:nth-child(2){white-space:nowrap}.midi td:nth-child(n+3){min-width:8.5rem}
.midi tbody th,.midi tbody td{border:0}.midi .first>*{border-top:1px solid var(--line)}
.hidden,.no{color:var(--soft)}
.hidden{position:absolute;width:1px;height:1px;overflow:hidden;clip-path:inset(50%)}
ol{padding-left:2.4rem}li{margin:.4rem 0}

.controls td:nth-child(2),.controls td:last-child{text-align:right}
@media (max-width:64rem){th,td{padding:.25rem .35rem}.front{grid-template-columns:1fr 1fr}
.mixer{grid-row:2;grid-column:1/3;max-width:30rem;margin:auto}}
@media screen and (max-width:44rem){body{padding:.7rem}
.front{grid-template-columns:1fr}.mixer{grid-row:auto;grid-column:1}
thead{position:absolute;width:1px;height:1px;overflow:hidden;clip-path:inset(50%)}
table,caption,tbody,tr,th{display:block}
tr{border-bottom:1px solid var(--line);padding:.4rem 0}
th,td,.midi .first>*{border:0;padding:.1rem 0}
td{display:inline-block;margin-right:1rem}td:empty{display:none}
td[data-l]::before{content:attr(data-l)" ";color:var(--soft)}
.controls td[data-l]:not(:empty){display:block;position:relative;padding-left:8.5rem;text-align:left}
.controls td[data-l]::before{position:absolute;left:0}
.controls code{margin-right:1rem}.controls code+br{display:none}
.midi th,.midi td{white-space:normal!important;min-width:0!important}
.hidden{position:static;width:auto;clip-path:none}}

@page{size:A4;margin:12mm}
@page front{size:A4 landscape;margin:8mm}
@media print{body{padding:0;font-size:9pt;max-width:none}
a{text-decoration:none}
.sheet{page:front;break-after:page}
.front{grid-template-columns:repeat(3,1fr);margin-top:2mm}
.mixer{grid-row:auto;grid-column:auto;max-width:none;margin:0}
h1{font-size:15pt}h2{font-size:12pt;margin-top:6mm}
table{font-size:8pt}td,th{padding:.5mm 1.5mm}
h2,h2+p,caption,thead,tbody tr:first-child{break-after:avoid}tr,li,figure{break-inside:avoid}
.panel{max-height:180mm}section:nth-of-type(2),section:nth-of-type(3){break-before:page}p{break-inside:avoid}
svg{print-color-adjust:exact}}
)css";

}  // namespace ctlmap
