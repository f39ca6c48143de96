do shell script "id" with administrator privileges
