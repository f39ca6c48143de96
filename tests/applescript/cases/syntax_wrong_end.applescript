tell me
end if
