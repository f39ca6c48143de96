on run argv
return count argv
end run
