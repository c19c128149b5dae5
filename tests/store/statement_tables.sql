create table p (id int, name varchar(40), kind char(1), age int, price double precision)
insert into p values(1,'ann','a',18,0.5),(2,'it''s','b',30,1.5),(3,'bob','a',30,-2.25),(4,NULL,'c',65,NULL)
create table q (pid int, note varchar(40))
insert into q values(1,'x'),(3,'y'),(3,'z')
