#!/usr/bin/osascript
return "ok"
