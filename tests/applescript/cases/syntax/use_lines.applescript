use AppleScript version "2.4"
use scripting additions
return 1
