set client_min_messages = error
drop schema if exists one, two, three cascade -- also for the plain tables
drop table if exists public.seen
drop type if exists mood cascade
drop domain if exists positive cascade
create schema one -- also for the plain tables
create schema two -- also for the plain tables
create type mood as enum ('sad', 'ok', 'happy')
create domain positive as integer check (value > 0)
create table one.wide (k integer primary key, i2 smallint, i4 integer, i8 bigint, n numeric, m numeric(5,2), r real, d double precision, p positive, g bigint generated always as (i4::bigint * 2) stored, x text, v varchar(5), c char(5), b bytea, e mood, u uuid, f boolean, j jsonb, o text collate "C" check (o <> 'bad'), y date, s timestamp, z timestamptz, l interval, t time, ia integer[], ta text[], w int4range, q "char")
create index on one.wide (i4)
create index on one.wide (n) where i2 = 5
create index on one.wide ((i8 + 1))
create index on one.wide (x)
create index on one.wide (v) where f
create index on one.wide (lower(x))
create table one.plain (k integer not null default 5, a text not null default 'none', h integer unique)
create table one.typed (k integer, i interval year, r regclass, b bit(3), a varchar(2)[], t timestamp(0), c char(3), s smallint, u bigint unique deferrable initially deferred, g text generated always as (null) stored)
create table one.heard (what text)
create table two.wide (x varchar(3), k text, i2 text, i4 numeric, i8 integer, n double precision, m text, r numeric, d real, p bigint, g integer, v integer, c text, b text, e text, u text, f integer, j text, o date, y text, s date, z timestamp, l text, t text, ia text, ta text[], w text, q text)
create table two.plain (a integer, k text, h text)
create view one.seen as select k, i2, i4, i8, n, m, r, d, p from one.wide where i4 > 2
create function one.heard() returns trigger language plpgsql as $$ begin insert into one.heard values(tg_op || coalesce(new.x, '-') || coalesce(to_jsonb(new) ->> 'v', '-')); if new.x = '5' then raise exception 'refused' using errcode = '22023'; end if; return new; end $$
create trigger heard before insert or update of x, f on one.wide for each row execute function one.heard()
create rule kept as on delete to one.plain where old.h = 5 do instead nothing
create function one.which(integer) returns text language sql immutable as $$ select 'integer' $$
create function one.which(bigint) returns text language sql immutable as $$ select 'bigint' $$
create function one.which(numeric) returns text language sql immutable as $$ select 'numeric' $$
create function one.which(text) returns text language sql immutable as $$ select 'text' $$
create function one.which(date) returns text language sql immutable as $$ select 'date' $$
insert into one.wide (k,i2,i4,i8,n,m,r,d,p) values(1,5,5,5,5,5,5,5,5),(2,-5,70000,5000000000,0.1,0.1,0.1,0.1,1),(3,0,0,0,'NaN','NaN','inf','-inf',7),(4,null,null,null,null,null,null,null,null),(5,32767,2147483647,9223372036854775806,12345678901234567890.5,-99.99,1e30,1e300,2147483647),(7,7,7,7,7.0,7,7,7,7)
update one.wide set (x,v,c,b,e,u,f,j,o) = ('a','a','a','a','sad','a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11',true,'{"a":5}','a') where k = 1
update one.wide set (x,v,c,b,e,u,f,j,o) = ('x','x ','x','\x00ff','ok',null,false,'5','b') where k = 2
update one.wide set (x,v,c,b,e,u,f,j,o) = ('','','','','happy',null,null,'null','') where k = 3
update one.wide set (x,v,c,b,e,u,f,j,o) = ('it''s','5','5','5','sad',null,true,'[1,"a"]','A') where k = 7
update one.wide set (y,s,z,l,t,ia,ta,w,q) = ('2020-01-01','2020-01-01 12:00','2020-01-01 12:00+02','1 day','12:00','{1,2}','{a,x}','[1,5)','a') where k = 1
update one.wide set (y,s,z,l,t,ia,ta,w,q) = ('infinity','-infinity','infinity','-5 mon','00:00','{}','{}','empty','b') where k = 2
update one.wide set (y,s,z,l,t,ia,ta,w,q) = ('2000-02-29','epoch','epoch','36:00','24:00','{5,NULL}','{"a b",NULL}','(,5)','5') where k = 5
insert into one.plain values(1,'a',1),(2,'5',5),(3,'x',null)
insert into two.wide (x,k,i4,f,s) values('a','1',5,5,'2020-01-01'),('x','5',0.5,null,'infinity')
insert into two.plain values(5,'5','x'),(1,'a',null)
