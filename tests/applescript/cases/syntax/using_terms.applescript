using terms from application "System Events"
return 3
end using terms from
