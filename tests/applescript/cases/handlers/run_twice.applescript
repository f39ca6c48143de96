on run
end run
return 1
