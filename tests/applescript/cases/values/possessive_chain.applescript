set r to {a:{b:{1, 2}}}
r's a's b's item 2
