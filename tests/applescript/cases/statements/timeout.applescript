with timeout of 5 seconds
return 4
end timeout
