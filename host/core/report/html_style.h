// The style sheet of the HTML report.
#pragma once

namespace ostria::host {

/// The style sheet of the HTML report: one column on a phone, plain on paper,
/// dark where the reader's system is.
inline constexpr const char* kReportStyle = R"(
:root{--ink:#1c2430;--soft:#5b6675;--line:#d9dee5;--back:#f5f7f9;--card:#fff;
--passed:#1b7f3b;--failed:#b3261e;--warning:#9a5b00;--stopped:#9a5b00;--could_not_start:#9a5b00;
--not_performed:#5b6675;--not_supported:#5b6675;--bad:#b3261e;--watch:#9a5b00;--good:#1b7f3b;
--unread:#d9dee5;--t0:#bfe3ca;--t1:#8fcf9f;--t2:#d9d46a;--t3:#e8b04a;--t4:#dd7f3c;--t5:#8a4fb0;
color-scheme:light dark}
@media screen and (prefers-color-scheme:dark){:root{--ink:#e6e9ee;--soft:#a9b3c0;--line:#3a4350;
--back:#14181e;--card:#1d232b;--bad:#ff9a90;--watch:#f0b45c;--good:#4caf6d;--unread:#3a4350;
--t0:#2f6b42;--t1:#4a8a4f;--t2:#8a8632;--t3:#a87a25;--t4:#b8602a;--t5:#a06ac8}}
*{box-sizing:border-box}
body{margin:0;background:var(--back);color:var(--ink);font:16px/1.45 system-ui,sans-serif}
main{max-width:60rem;margin:0 auto;padding:1rem}
h1{font-size:1.6rem;margin:.5rem 0}h2{font-size:1.25rem;margin:0;overflow-wrap:anywhere}
h3{font-size:1rem;margin:1.2rem 0 .4rem}
p{margin:.3rem 0}.soft{color:var(--soft)}
section{background:var(--card);border:1px solid var(--line);border-radius:.6rem;padding:1rem;
margin:1rem 0}
.head{display:flex;flex-wrap:wrap;gap:.6rem;align-items:center;justify-content:space-between}
.badge{color:#fff;border-radius:1rem;padding:.1rem .7rem;font-weight:600;white-space:nowrap;
font-size:.9rem;print-color-adjust:exact;-webkit-print-color-adjust:exact}
.passed{background:var(--passed)}.failed{background:var(--failed)}
.warning,.stopped,.could_not_start{background:var(--warning)}
.health_good{background:var(--passed)}.health_watch{background:var(--warning)}
.health_replace,.health_not_answering{background:var(--failed)}
.not_performed,.not_supported,.health_not_known{background:var(--not_performed)}
.wide{overflow-x:auto}
table{border-collapse:collapse;width:100%;font-size:.92rem}
th,td{text-align:left;padding:.3rem .5rem;border-bottom:1px solid var(--line);vertical-align:top;
overflow-wrap:anywhere}
th{color:var(--soft);font-weight:600;white-space:nowrap}
.number{text-align:right;font-variant-numeric:tabular-nums;white-space:nowrap}
a{color:inherit}
tr.bad td{color:var(--bad);font-weight:600}tr.watch td{color:var(--watch);font-weight:600}
.f-back{fill:var(--line)}.f-good{fill:var(--good)}.f-bad{fill:var(--bad)}.f-ink{fill:var(--ink)}
.f-unread{fill:var(--unread)}.f-t0{fill:var(--t0)}.f-t1{fill:var(--t1)}.f-t2{fill:var(--t2)}
.f-t3{fill:var(--t3)}.f-t4{fill:var(--t4)}.f-t5{fill:var(--t5)}
.key{display:inline-block;width:.8rem;height:.8rem;margin-right:.3rem;vertical-align:-.1rem}
.key rect{width:100%;height:100%}
dl{display:grid;grid-template-columns:minmax(8rem,13rem) 1fr;gap:.2rem 1rem;margin:.5rem 0}
dt{color:var(--soft)}dd{margin:0;overflow-wrap:anywhere}
.bar{display:block;width:7rem;height:.6rem;margin:.35rem 0}
svg.map{width:100%;height:auto;display:block}
pre{white-space:pre-wrap;overflow-wrap:anywhere;margin:.3rem 0;font-size:.85rem}
ul{margin:.2rem 0;padding-left:1.2rem}
@media (max-width:34rem){main{padding:.5rem}dl{grid-template-columns:minmax(6rem,38%) 1fr;
gap:.2rem .6rem;font-size:.92rem}section{padding:.7rem}th,td{padding:.3rem .25rem}.gauge{display:none}
table{font-size:.85rem}.badge{font-size:.8rem;padding:.1rem .5rem}
.stack thead{display:none}.stack tr{display:block;padding:.3rem 0;border-bottom:1px solid var(--line)}
.stack td{display:grid;grid-template-columns:minmax(6rem,38%) 1fr;gap:.6rem;border:0;padding:.1rem 0}
.stack td:empty{display:none}.stack td::before{content:attr(data-label);color:var(--soft)}}
@media print{body{background:#fff;font-size:11pt}main{max-width:none;padding:0}
section{border-radius:0;break-inside:auto}h3,.head,tr,svg{break-inside:avoid}
h1,h2,h3,.head{break-after:avoid}thead{display:table-header-group}p,li{orphans:3;widows:3}
.wide{overflow:visible}}
)";

}  // namespace ostria::host
