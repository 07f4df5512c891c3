// How the page looks: on screens of any width, light and dark, and on paper.
#pragma once

namespace ctlmap {

// Colours first, then the page from top to bottom, then what is narrow, then paper.
constexpr const char* STYLE = R"css(
:root{color-scheme:light dark;--bg:#fff;--fg:#1b1f24;--soft:#57606a;--line:#c9ced6;--plate:#f1f3f6;
--key:#fff;--cap:#d5dae1;--led:#c77700;--err:#b3261e;--warn:#8a5300;--note:#1f5fa8;--on:#fff}
@media screen and (prefers-color-scheme:dark){:root{--bg:#14171b;--fg:#e6e9ed;--soft:#a3acb8;
--line:#3b434d;--plate:#1d2228;--key:#2a3038;--cap:#4a535f;--led:#f0a93a;--err:#ff9d94;--warn:#f2c063;
--note:#8fc1ff;--on:#14171b}}
*{box-sizing:border-box}
body{margin:0 auto;padding:1rem;max-width:96rem;background:var(--bg);color:var(--fg);
font:15px/1.45 system-ui,"Segoe UI","DejaVu Sans",Arial,sans-serif;overflow-wrap:anywhere}
h1{font-size:1.7rem;line-height:1.2;margin:0}h2{font-size:1.2rem;margin:2.2rem 0 .6rem}
p{margin:.3rem 0 .8rem}.soft,small,.fine,figcaption{color:var(--soft);font-weight:400}
a{color:inherit}code,.panel,.screen{font-family:ui-monospace,"DejaVu Sans Mono",Menlo,Consolas,monospace}
.front{display:grid;grid-template-columns:repeat(3,1fr);gap:.7rem;margin-top:1rem}
svg{display:block;width:100%;height:auto}
.panel text{font-size:9px;text-anchor:middle;fill:var(--fg)}
.panel .v{font-size:9.5px;font-weight:700}.panel .h{font-size:13px;font-weight:700;letter-spacing:.15em}
.plate{fill:var(--plate);stroke:var(--line)}.key,.cap,.knob,.disc{fill:var(--key);stroke:var(--soft)}
.cap{fill:var(--cap)}.disc,.key{stroke:var(--line)}.notched{stroke-dasharray:3 2;stroke-width:3}
.ring{fill:none;stroke:var(--led);stroke-width:3}.slot{fill:var(--soft)}.led{fill:var(--led)}
.line{stroke:var(--soft);stroke-width:1.5;fill:none}
.lost rect,.lost circle{stroke-dasharray:3 3}.panel .lost text{fill:var(--soft)}
.mark{fill:var(--note)}.mark.error{fill:var(--err)}.mark.warning{fill:var(--warn)}
.panel .m{fill:var(--on);font-weight:700}
.screens{display:flex;flex-wrap:wrap;gap:1rem}figure{margin:0;flex:1 1 18rem;max-width:40rem}
.screen{font-size:13.3px;white-space:pre}.panel .screen text,.screen text{font-size:13.3px;text-anchor:start;
fill:inherit}.panel .screen text[fill]{fill:revert-layer}
.chip{display:inline-block;width:20px;height:14px;vertical-align:-2px}
table{border-collapse:collapse;width:100%;font-size:.87rem;margin:.6rem 0}caption{text-align:left;color:var(--soft)}
th,td{text-align:left;vertical-align:top;padding:.25rem .5rem;border-bottom:1px solid var(--line)}
thead th{border-bottom:2px solid var(--soft)}th[scope=rowgroup]{padding-top:1rem;font-size:1rem}
.controls code{white-space:nowrap}.controls td:first-child{text-align:right;color:var(--soft)}
.no,.off{color:var(--soft)}ol{padding-left:2.2rem}li{margin:.3rem 0}
.error{color:var(--err)}.warning{color:var(--warn)}.note{color:var(--note)}
@media (max-width:64rem){.front{grid-template-columns:1fr 1fr}
.panel:nth-child(2){grid-row:2;grid-column:1/3;max-width:30rem;margin:auto}}
@media screen and (max-width:44rem){body{padding:.6rem}.front{grid-template-columns:1fr}
.panel:nth-child(2){grid-row:auto;grid-column:1}
thead{position:absolute;clip-path:inset(50%);width:1px;height:1px;overflow:hidden}
table,tbody,tr,th,td{display:block}th,td{border:0;padding:.1rem 0}tr{border-bottom:1px solid var(--line);
padding:.4rem 0}td:empty{display:none}td[data-l]::before{content:attr(data-l)"
    : ";color:var(--soft)}
          .controls td
    : first - child {
    text - align : left
}
}
@page {
size:
    A4;
margin:
    12mm
}
@page front {
size:
    A4 landscape;
margin:
    8mm
}
@media print{body{padding : 0;
font - size : 9pt;
max - width : none
}
a{text - decoration : none}.sheet {
page:
    front;
    break - after : page
}
.front {
    grid - template - columns : repeat(3, 1fr);
    margin - top : 2mm
}
.panel : nth - child(2) {
    grid - row : auto;
    grid - column : auto;
    max - width : none;
margin:
    0
}
h1{font - size : 15pt} h2 {
    font - size : 12pt;
    margin - top : 6mm
}
table{font - size : 8pt} td, th{padding : .6mm 1.5mm} h2, thead, caption{break - after : avoid} tr,
    li, figure{break - inside : avoid} svg {
    print - color - adjust : exact
}
}
)css";

}  // namespace ctlmap
