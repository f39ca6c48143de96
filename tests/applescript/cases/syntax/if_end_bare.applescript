if true
return 5
end
