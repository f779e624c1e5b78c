#include "tools/kvbank/report/ReportStyle.h"

namespace Kestrova {

const char* const kReportStyle = R"(
:root{color-scheme:light dark;--ground:#fff;--text:#1c2430;--soft:#5a6472;--line:#d9dee5;--panel:#f5f7fa;
--wave:#2f6fb3;--loop:#f2b64055;--before:#c0562f;--after:#2f6fb3;--fault:#b3261e}
@media (prefers-color-scheme:dark){:root{--ground:#14181e;--text:#e3e8ef;--soft:#98a3b1;--line:#2d3642;
--panel:#1b2129;--wave:#6fb1f0;--loop:#f2b64040;--before:#f08a5d;--after:#6fb1f0;--fault:#ff8a80}}
*{box-sizing:border-box}
body{margin:0 auto;max-width:1180px;padding:24px;background:var(--ground);color:var(--text);
font:15px/1.45 system-ui,"DejaVu Sans",sans-serif}
h1{font-size:26px;margin:0 0 4px}h2{font-size:19px;margin:36px 0 10px}h3{font-size:15px;margin:0 0 6px}
p{margin:6px 0;max-width:80ch}.soft,figcaption{color:var(--soft)}.fault{color:var(--fault)}
dl{display:grid;grid-template-columns:max-content 1fr;gap:3px 18px;margin:14px 0}
dt{color:var(--soft)}dd{margin:0}
table{border-collapse:collapse;font-variant-numeric:tabular-nums}
th,td{text-align:left;padding:5px 12px 5px 0;border-bottom:1px solid var(--line);vertical-align:middle}
th{color:var(--soft);font-weight:600;white-space:nowrap}.n{text-align:right}
#samples{width:100%}#samples thead th{position:sticky;top:0;background:var(--ground)}
#samples td{white-space:nowrap}#samples td:nth-child(2){white-space:normal;overflow-wrap:anywhere}
tr:target{background:var(--panel)}.more td{padding:0 0 8px}tr:has(+.more) td{border-bottom:0}
.maps{display:grid;grid-template-columns:repeat(auto-fill,minmax(min(480px,100%),1fr));gap:18px 24px;
margin:12px 0}
svg{display:block}.keys{width:100%;background:var(--panel);border:1px solid var(--line);border-radius:6px}
.keys text,.spectrum text{font-size:10px;fill:var(--soft)}.keys text{font-size:19px}
.keys rect{fill-opacity:.82;stroke:var(--ground);stroke-width:.6}
.keys rect:hover{fill-opacity:1;stroke:var(--text)}.ground{fill:none}
.grid{stroke:var(--line);stroke-width:1;fill:none}.whites{fill:#fdfdfd;stroke:#9aa4b0;stroke-width:.5}
.blacks{fill:#20262e}.w{min-width:200px}.wave{width:200px;height:44px}.wave path{fill:var(--wave);
stroke:var(--wave);stroke-width:.6}.loop{fill:var(--loop)}
.spectrum{width:100%;max-width:760px;margin-top:6px}.before{stroke:var(--before);color:var(--before)}
.after{stroke:var(--after);color:var(--after)}path.before,path.after{fill:none;stroke-width:1.2}
i{font-style:normal}.dot{display:inline-block;width:10px;height:10px;border-radius:3px;margin-right:8px}
audio{height:32px;width:150px;vertical-align:middle}summary{cursor:pointer;color:var(--soft)}
.tools{display:none}.js .tools{display:flex;gap:12px;align-items:center;margin:0 0 8px}.js audio{display:none}
.js #samples th{cursor:pointer}.js th[aria-sort=ascending]::after{content:" \2191"}
.js th[aria-sort=descending]::after{content:" \2193"}
input{font:inherit;padding:5px 10px;border:1px solid var(--line);border-radius:6px;background:var(--panel);
color:inherit;width:280px}
button{font:inherit;border:1px solid var(--line);border-radius:50%;width:30px;height:30px;padding:0;
background:var(--panel);color:var(--wave);cursor:pointer}
@media print{.tools,audio,button{display:none!important}}
)";

// A row with spectra behind it moves and hides together with that.
const char* const kReportScript = R"(
document.documentElement.className="js";
(function(){
var table=document.getElementById("samples");
if(!table)return;
var body=table.tBodies[0],search=document.getElementById("search"),shown=document.getElementById("shown");
var rows=[];
Array.prototype.forEach.call(body.rows,function(row){
if(row.className==="more")rows[rows.length-1].more=row;else rows.push({row:row,more:null});});
rows.forEach(function(one){one.text=one.row.textContent.toLowerCase();});
function find(){
var text=search.value.toLowerCase(),count=0;
rows.forEach(function(one){
var hit=one.text.indexOf(text)!==-1;
if(hit)count+=1;
one.row.hidden=!hit;if(one.more)one.more.hidden=!hit;});
shown.textContent=count+" of "+rows.length;}
function valueOf(row,column){
var cell=row.cells[column];
if(!cell)return"";
return cell.hasAttribute("data-v")?Number(cell.getAttribute("data-v")):cell.textContent.toLowerCase();}
function compare(a,b){
if(typeof a===typeof b)return a===b?0:a>b?1:-1;
return typeof a==="number"?-1:1;}
Array.prototype.forEach.call(table.tHead.rows[0].cells,function(head,column){
if(head.className==="fixed")return;
head.addEventListener("click",function(){
var up=head.getAttribute("aria-sort")!=="ascending";
Array.prototype.forEach.call(table.tHead.rows[0].cells,function(other){other.removeAttribute("aria-sort");});
head.setAttribute("aria-sort",up?"ascending":"descending");
rows.sort(function(a,b){
var order=compare(valueOf(a.row,column),valueOf(b.row,column));
return up?order:-order;});
rows.forEach(function(one){body.appendChild(one.row);if(one.more)body.appendChild(one.more);});});});
Array.prototype.forEach.call(table.getElementsByTagName("audio"),function(audio){
var button=document.createElement("button");
button.type="button";button.textContent="\u25B6";button.title="Play";
button.addEventListener("click",function(){
if(audio.paused){audio.currentTime=0;audio.play();}else audio.pause();});
audio.addEventListener("play",function(){button.textContent="\u25A0";});
audio.addEventListener("pause",function(){button.textContent="\u25B6";});
audio.parentNode.appendChild(button);});
search.addEventListener("input",find);find();
})();
)";

}  // namespace Kestrova
